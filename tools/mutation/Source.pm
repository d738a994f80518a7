package Source;

# A source of C++ or Java as statements: enough of both languages to know where a statement begins and ends, what it
# stands in, and what is code and not text or comment.
#
#   my $source = Source->new($name, $text);
#   $source->{text}, $source->{code}   the text, and the same with blanks for comments and underscores in literals
#   $source->{blocks}                  every block of statements, with the ones that lie in others
#   $source->{members}                 every declaration of a class body: { from, to }, without the body of a method
#
# A block is { from, to, of, void, statements }: the places behind and before its braces, the statement whose body it is,
# and whether it is of a method that gives nothing. A statement is { from, to, kind } with kind one of call (which is
# every simple one), jump, declaration, block, if, loop, synchronized, switch, try; an if has { condition, then, else },
# a synchronized { body }, a try { body, catches, finally }, each a place [from, to].
use strict;
use warnings;

my %CLOSING = ('(' => ')', '[' => ']', '{' => '}');

sub new {
  my ($class, $name, $text) = @_;
  my $self = bless { name => $name, text => $text, java => $name =~ m{\.java$} ? 1 : 0, blocks => [], members => [] }, $class;
  $self->{code} = masked($text);
  $self->{lines} = [split /^/, $text];
  my $at = 0;
  $self->{starts} = [map { my $start = $at; $at += length; $start } @{ $self->{lines} }];
  $self->members(0, length $text);
  return $self;
}

sub masked {
  my ($text) = @_;
  $text =~ s{(//[^\n]*|/\*.*?\*/)|("(?:[^"\\\n]|\\.)*"|(?<!\d)'(?:[^'\\\n]|\\.)+')|(^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*)}
    {defined $2 ? substr($2, 0, 1) . '_' x (length($2) - 2) . substr($2, -1) : blank($1 // $3)}gsemx;
  return $text;
}

sub blank { return $_[0] =~ s/[^\n]/ /gr }

sub line_of {
  my ($self, $at) = @_;
  my ($low, $high) = (0, $#{ $self->{starts} });
  while ($low < $high) {
    my $middle = int(($low + $high + 1) / 2);
    if ($self->{starts}[$middle] <= $at) { $low = $middle } else { $high = $middle - 1 }
  }
  return $low;
}

# The place behind the bracket that closes the one at a place.
sub behind {
  my ($self, $at) = @_;
  my $open = substr $self->{code}, $at, 1;
  my $close = $CLOSING{$open} // die "$self->{name}: no bracket at $at\n";
  my $depth = 0;
  pos($self->{code}) = $at;
  while ($self->{code} =~ /\G[^\Q$open$close\E]*([\Q$open$close\E])/gc) {
    $depth += $1 eq $open ? 1 : -1;
    return pos $self->{code} if $depth == 0;
  }
  die "$self->{name}: nothing closes line " . ($self->line_of($at) + 1) . "\n";
}

# What stands outside of methods: goes through the declarations and enters every body.
sub members {
  my ($self, $at, $end) = @_;
  my $begin = $at;
  while ($at < $end) {
    pos($self->{code}) = $at;
    $self->{code} =~ /\G[^;{}(=]*([;{}(=])/gc && pos($self->{code}) <= $end or last;
    my ($found, $place) = ($1, pos($self->{code}) - 1);
    if ($found eq '(') {
      $at = $self->behind($place);
    } elsif ($found eq '=') {
      $at = $self->simple_end($place + 1, $end);
      push @{ $self->{members} }, $self->trimmed($begin, $at);
      $begin = $at;
    } elsif ($found eq '{') {
      my $head = substr $self->{code}, $begin, $place - $begin;
      $at = $self->behind($place);
      if ($head =~ /\b(?:class|interface|enum|record|namespace|struct|union|extern)\b/ && $head !~ /\)\s*$/
        || $head =~ /\brecord\b/) {
        my $from = $place + 1;
        # The names of a Java enum are no declarations, but may have bodies.
        $self->members($from, $at - 1);
      } elsif ($head =~ /\)[^()]*$/ || $head =~ /^\s*static\s*$/) {
        push @{ $self->{members} }, $self->trimmed($begin, $place);
        my $void = $head =~ /\bvoid\s+[\w:<>]*\s*\(/ || $head =~ /\bvoid\s+(?:JNICALL\s+)?\w+\s*\(/;
        $self->block($place + 1, $at - 1, undef, $void ? 1 : 0);
      }
      $begin = $at;
    } else {
      push @{ $self->{members} }, $self->trimmed($begin, $place + 1) if $found eq ';';
      $at = $begin = $place + 1;
    }
  }
}

sub trimmed {
  my ($self, $from, $to) = @_;
  $from++ while $from < $to && substr($self->{code}, $from, 1) =~ /\s/;
  return { from => $from, to => $to };
}

sub block {
  my ($self, $at, $end, $of, $void) = @_;
  my $block = { from => $at, to => $end, of => $of, void => $void, statements => [] };
  push @{ $self->{blocks} }, $block;
  while (defined(my $statement = $self->statement($at, $end, $void))) {
    push @{ $block->{statements} }, $statement;
    $at = $statement->{to};
  }
  return $block;
}

sub skip {
  my ($self, $at) = @_;
  pos($self->{code}) = $at;
  $self->{code} =~ /\G\s*/gc;
  return pos $self->{code};
}

sub head {
  my ($self, $at) = @_;
  my $from = index $self->{code}, '(', $at;
  return [$from + 1, $self->behind($from) - 1];
}

# The body of a compound statement, braces or not; gives its place.
sub body {
  my ($self, $at, $end, $of, $void) = @_;
  my $from = $self->skip($at);
  if (substr($self->{code}, $from, 1) eq '{') {
    my $to = $self->behind($from);
    $self->block($from + 1, $to - 1, $of, $void);
    return [$from, $to];
  }
  my $statement = $self->statement($from, $end, $void);
  return [$from, $statement->{to}];
}

sub statement {
  my ($self, $at, $end, $void) = @_;
  my $from = $self->skip($at);
  return undef if $from >= $end;
  my $rest = sub { pos($self->{code}) = $_[0]; return $self->{code} };
  my $code = \$self->{code};
  my $statement = { from => $from };
  pos($$code) = $from;
  if ($$code =~ /\G(?:case\b[^;{}]*?(?<!:):(?!:)|default\s*:)/gc) {
    return $self->statement(pos $$code, $end, $void);
  }
  if ($$code =~ /\G;/gc) {
    @$statement{qw(kind to)} = ('empty', pos $$code);
  } elsif ($$code =~ /\G\{/gc) {
    $statement->{kind} = 'block';
    $statement->{to} = $self->body($from, $end, $statement, $void)->[1];
  } elsif ($$code =~ /\Gif\b/gc) {
    $statement->{kind} = 'if';
    $statement->{condition} = $self->head($from);
    $statement->{then} = $self->body($statement->{condition}[1] + 1, $end, $statement, $void);
    $statement->{to} = $statement->{then}[1];
    my $next = $self->skip($statement->{to});
    pos($$code) = $next;
    if ($$code =~ /\Gelse\b/gc) {
      $statement->{else} = $self->body(pos $$code, $end, $statement, $void);
      $statement->{to} = $statement->{else}[1];
    }
  } elsif ($$code =~ /\G(for|while|switch|synchronized)\b/gc) {
    my $word = $1;
    $statement->{kind} = $word =~ /for|while/ ? 'loop' : $word;
    $statement->{condition} = $self->head($from);
    $statement->{body} = $self->body($statement->{condition}[1] + 1, $end, $statement, $void);
    $statement->{to} = $statement->{body}[1];
  } elsif ($$code =~ /\Gdo\b/gc) {
    $statement->{kind} = 'loop';
    $statement->{body} = $self->body(pos $$code, $end, $statement, $void);
    $statement->{to} = $self->simple_end($statement->{body}[1], $end);
  } elsif ($$code =~ /\Gtry\b/gc) {
    $statement->{kind} = 'try';
    my $place = $self->skip(pos $$code);
    if (substr($$code, $place, 1) eq '(') {
      $statement->{resources} = $self->head($from);
      $place = $self->behind($place);
    }
    $statement->{body} = $self->body($place, $end, $statement, $void);
    $statement->{to} = $statement->{body}[1];
    $statement->{catches} = [];
    for (;;) {
      my $next = $self->skip($statement->{to});
      pos($$code) = $next;
      if ($$code =~ /\Gcatch\b/gc) {
        my $what = $self->head($next);
        my $body = $self->body($what->[1] + 1, $end, $statement, $void);
        push @{ $statement->{catches} }, { from => $next, what => $what, to => $body->[1] };
        $statement->{to} = $body->[1];
      } elsif ($$code =~ /\Gfinally\b/gc) {
        my $body = $self->body(pos $$code, $end, $statement, $void);
        $statement->{finally} = { from => $next, body => $body };
        $statement->{to} = $body->[1];
      } else {
        last;
      }
    }
  } else {
    $statement->{to} = $self->simple_end($from, $end);
    my $text = substr $$code, $from, $statement->{to} - $from;
    $statement->{kind} =
        $text =~ /^(?:return|throw|break|continue|raise\b|goto|yield)\b/ ? 'jump'
      : $text =~ /^(?:const\s|constexpr\s|static\s|using\s|alignas\b|final\s|class\s|struct\s|enum\s)/ ? 'declaration'
      : $text =~ /^[\w:.]+(?:\s*<[^;=()]*>)?(?:\s*\[\])*(?:\s+|\s*[*&]+\s*)(?:const\s+)?\w+(?:\[[^\]]*\])*\s*(?:=|;|\{|\()/ ? 'declaration'
      : 'call';
  }
  return $statement;
}

# The place behind the semicolon of a simple statement (or of a local class behind its body); enters the lambdas in it.
sub simple_end {
  my ($self, $at, $end) = @_;
  my $begin = $at;
  while ($at < $end) {
    pos($self->{code}) = $at;
    $self->{code} =~ /\G[^;{}]*([;{}])/gc && pos($self->{code}) <= $end or return $end;
    my ($found, $place) = ($1, pos($self->{code}) - 1);
    return $place + 1 if $found eq ';';
    return $place if $found eq '}';
    my $head = substr $self->{code}, $begin, $place - $begin;
    $at = $self->behind($place);
    if ($head =~ /->\s*$|\]\s*(?:\([^{}]*\)\s*)?(?:mutable\s*|noexcept\s*|->\s*[\w:*&]+\s*)*$/s && $head !~ /\w\[\w*\]\s*$|\[\]\s*$(?<!\(\[\])/
      || $head =~ /[(,=]\s*\[[^\[\]]*\]\s*$/) {
      $self->block($place + 1, $at - 1, undef, 0);
    } elsif ($head =~ /\bnew\s+[\w.<>, ?]+\([^{}]*\)\s*$/) {
      $self->members($place + 1, $at - 1);
    } elsif ($head =~ /^\s*(?:(?:final|static|abstract)\s+)*(?:class|record|interface|enum)\b/) {
      $self->members($place + 1, $at - 1);
      return $at;
    }
  }
  return $end;
}

1;
