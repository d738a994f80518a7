package Meaning;

# Breaks that mean something: what a tired or hasty programmer does, and still compiles. Each kind is a function of a
# source that gives breaks by `edit`: places of the text and what stands there instead.
use strict;
use warnings;
use Digest::MD5 qw(md5);
use Exporter qw(import);

our @EXPORT_OK = qw(meaningful constants_of);

my $WIPE = qr/^(?:if \(.*?\)\s*)?(?:std::)?(?:explicit_bzero|wipe\w*|closeBlock|free|release\w*|close)\(|\bwipe\w*\(|\.destroy\(|^(?:java\.util\.)?Arrays\.fill\([^;]*(?:\(byte\) 0|'\\0')\)/;
my $CHECK = qr/^(?:[\w.]+\.)?(?:require\w*|check\w*|MUST_HOLD|checkFromIndexSize)\(/;
my $JUMP = qr/^(?:\{\s*)?(?:return|throw|raise\b|break|continue)/;
my $ALIKE = qr/^(?:Math|std)(?:\.|::)(?:min|max)$|^(?:add|\w*[eE]quals|mark)$/;

# The name of a constant by its family: what may stand in its place.
my $CONSTANT = {
  0 => qr/(?<![\w:"])((?:CK[A-Z])_)([A-Z]\w*[A-Z0-9])\b/,
  1 => qr/(?<![\w."])((?:CK[A-Z]|Function|OperationKind|State|Stage|Threading|ExitCode|AttributeKind)\.)([A-Z][A-Z0-9_]+)\b(?!\()/,
};

my @kinds = (
  ['drops a lock', \&lock_drops],
  ['drops a wipe', sub { dropped($_[0], sub { $_[0]{kind} =~ /^(?:call|if)$/ && $_[1] =~ $WIPE }) }],
  ['wipes half', \&half_wipes],
  ['drops a check', sub { dropped($_[0], \&is_check) }],
  ['moves a check behind', sub { moved($_[0], sub { is_check(@_[0, 1]) }) }],
  ['moves a statement across a call', sub { moved($_[0], \&crosses) }],
  ['drops a statement', sub { dropped($_[0], sub { $_[0]{kind} eq 'call' && $_[1] !~ $WIPE && $_[1] !~ $CHECK }) }],
  ['drops a condition', \&condition_drops],
  ['drops a clause', \&clause_drops],
  ['exchanges constants', \&constant_exchanges],
  ['exchanges arguments', \&argument_exchanges],
  ['names another variable', \&other_variables],
  ['makes a buffer static', \&static_buffers],
  ['returns early', \&early_returns],
  ['turns an answer round', \&turned_answers],
  ['drops a finally', \&finally_drops],
  ['forgets the end after a failure', \&finally_shorts],
  ['narrows a catch', \&narrow_catches],
  ['widens a catch', \&wide_catches],
);

# Every break of a source that changes a meaning.
sub meaningful {
  my ($source, $constants) = @_;
  return map { my ($what, $make) = @$_; map { +{ %$_, what => $what } } $make->($source, $constants) } @kinds;
}

# The constants of a source by family, for the pool that others are drawn from.
sub constants_of {
  my ($source) = @_;
  my %found;
  my $pattern = $CONSTANT->{ $source->{java} };
  pos($source->{code}) = 0;
  $found{$1}{$2} = 1 while $source->{code} =~ /$pattern/g;
  return \%found;
}

sub edit { return { edits => [@_] } }
sub code { my ($source, $place) = @_; return substr $source->{code}, $place->{from}, $place->{to} - $place->{from} }
sub text { my ($source, $from, $to) = @_; return substr $source->{text}, $from, $to - $from }

# Runs a function over every statement: it gets the statement, its code, the one behind it, and its block.
sub each_statement {
  my ($source, $use) = @_;
  my @breaks;
  for my $block (@{ $source->{blocks} }) {
    my $statements = $block->{statements};
    for my $i (0 .. $#$statements) {
      my $code = code($source, $statements->[$i]);
      next if $code =~ /^LogFunction\(/;
      push @breaks, $use->($statements->[$i], $code, $statements->[ $i + 1 ], $block);
    }
  }
  return @breaks;
}

sub is_check {
  my ($statement, $code) = @_;
  return $code =~ $CHECK if $statement->{kind} eq 'call';
  return $statement->{kind} eq 'if' && !$statement->{else} && substr($code, $statement->{then}[0] - $statement->{from}) =~ $JUMP;
}

sub dropped {
  my ($source, $wanted) = @_;
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    return $wanted->($statement, $code) ? edit([$statement->{from}, $statement->{to}, '']) : ();
  });
}

sub moved {
  my ($source, $wanted) = @_;
  return each_statement($source, sub {
    my ($statement, $code, $next) = @_;
    return () if !$next || $next->{kind} eq 'jump' || $statement->{kind} eq 'jump';
    my $behind = code($source, $next);
    return () if $behind =~ /^LogFunction\(/ || !$wanted->($statement, $code, $next, $behind);
    return edit([$statement->{from}, $next->{to}, text($source, $next->{from}, $next->{to})
      . text($source, $statement->{to}, $next->{from}) . text($source, $statement->{from}, $statement->{to})]);
  });
}

# Two neighbours of which one calls something, and that have something to do with each other: a name in both.
sub crosses {
  my ($statement, $code, $next, $behind) = @_;
  return 0 if is_check($statement, $code) || $statement->{kind} eq 'empty' || $next->{kind} eq 'empty';
  return 0 if $statement->{kind} eq 'declaration' && $next->{kind} eq 'declaration';
  return 0 unless $code =~ /\w\(/ || $behind =~ /\w\(/;
  # What is declared here and used there does not compile the other way round.
  if ($statement->{kind} eq 'declaration') {
    my ($name) = $code =~ /(\w+)(?:\[[^\]]*\])*\s*(?:=|;|\{|\()/;
    return 0 if !defined $name || $behind =~ /\b\Q$name\E\b/;
  }
  my %names = map { $_ => 1 } $code =~ /\b([a-zA-Z_]\w*)\b/g;
  return scalar grep { $names{$_} && !/^(?:if|for|const|return|env|new|final|try|this|static_cast|std)$/ } $behind =~ /\b([a-zA-Z_]\w*)\b/g;
}

sub lock_drops {
  my ($source) = @_;
  my @breaks = each_statement($source, sub {
    my ($statement, $code) = @_;
    return edit([$statement->{from}, $statement->{body}[0], '']) if $statement->{kind} eq 'synchronized';
    return edit([$statement->{from}, $statement->{to}, '']) if $code =~ /\b(?:lock_guard|scoped_lock|unique_lock)\b/;
    return ();
  });
  for my $member (@{ $source->{members} }) {
    my $code = code($source, $member);
    push @breaks, edit([$member->{from} + $-[0], $member->{from} + $+[0], '']) if $code =~ /\bsynchronized /;
  }
  return @breaks;
}

sub half_wipes {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    return () unless $statement->{kind} eq 'call' && $code =~ $WIPE;
    if ($code =~ /explicit_bzero\(/) {
      my @arguments = arguments($source, $statement->{from} + $+[0] - 1);
      return @arguments == 2 ? edit([$arguments[1]{to}, $arguments[1]{to}, ' / 2']) : ();
    }
    if ($code =~ /Arrays\.fill\(/) {
      my @arguments = arguments($source, $statement->{from} + $+[0] - 1);
      my $array = text($source, $arguments[0]{from}, $arguments[0]{to});
      return () if $array =~ /\(/;
      return edit([$arguments[0]{to}, $arguments[0]{to}, ", 0, ($array).length / 2"]) if @arguments == 2;
      return edit([$arguments[2]{to}, $arguments[2]{to}, ' / 2']) if @arguments == 4;
    }
    return ();
  });
}

sub condition_drops {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    return () if $statement->{kind} ne 'if' || is_check($statement, $code);
    my ($from, $to) = @{ $statement->{condition} };
    return map { edit([$from, $to, $_]) } 'true', 'false';
  });
}

# The parts between && and || in a place, of one depth of brackets.
sub clause_drops {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    my @places = $statement->{kind} =~ /^(?:if|loop)$/ && $statement->{condition} ? $statement->{condition}
      : $code =~ /^return\b/ ? [$statement->{from} + 6, $statement->{to} - 1]
      : $statement->{kind} eq 'declaration' && $code =~ /=/ ? [$statement->{from} + $+[0], $statement->{to} - 1]
      : ();
    my @breaks;
    for my $place (@places) {
      my $part = substr $source->{code}, $place->[0], $place->[1] - $place->[0];
      next if $part =~ /[{;]/;
      my ($depth, $begin, @ends) = (0, 0);
      while ($part =~ /([(\[])|([)\]])|(&&|\|\||\?|:(?!:))/g) {
        if (defined $1) { $depth++ } elsif (defined $2) { $depth-- } elsif ($depth == 0) {
          @ends = (), last if $3 eq '?' || $3 eq ':';
          push @ends, [$-[3], $+[3]];
        }
      }
      for my $i (0 .. $#ends) {
        my $end = $i < $#ends ? $ends[ $i + 1 ][0] : length $part;
        my $start = $i > 0 ? $ends[ $i - 1 ][1] : 0;
        push @breaks, edit([$place->[0] + $ends[$i][0], $place->[0] + $end, '']);
        push @breaks, edit([$place->[0] + $start, $place->[0] + $ends[$i][1], '']) if $i == 0;
      }
    }
    return @breaks;
  });
}

sub constant_exchanges {
  my ($source, $constants) = @_;
  my $pattern = $CONSTANT->{ $source->{java} };
  my @breaks;
  pos($source->{code}) = 0;
  while ($source->{code} =~ /$pattern/g) {
    my ($family, $name, $from, $to) = ($1, $2, $-[2], $+[2]);
    next if $source->{lines}[$source->line_of($from)] =~ /LogFunction/;
    my @others = grep { $_ ne $name } sort keys %{ $constants->{$family} };
    push @breaks, edit([$from, $to, $others[chosen($source, $from, scalar @others)]]) if @others;
  }
  # The types of Java in texts.
  for my $pair ([qr/(?<=")([IJBZ])(?=")/, { I => 'J', J => 'I', B => 'I', Z => 'B' }]) {
    while ($source->{text} =~ /$pair->[0]/g) {
      push @breaks, edit([$-[1], $+[1], $pair->[1]{$1}]) if substr($source->{code}, $-[1], 1) eq '_';
    }
  }
  return @breaks;
}

# The same place gives the same choice, whatever else is drawn.
sub chosen {
  my ($source, $place, $count) = @_;
  return unpack('N', md5("$source->{name} $place")) % $count;
}

# The arguments of the bracket at a place.
sub arguments {
  my ($source, $at) = @_;
  my $end = $source->behind($at) - 1;
  my $part = substr $source->{code}, $at + 1, $end - $at - 1;
  my ($depth, $begin, @arguments) = (0, 0);
  while ($part =~ /([(\[{])|([)\]}])|(,)|(<(?=[\w:, *]+>[({ ]))|((?<=\w)>(?=[({]))/g) {
    if (defined $1 || defined $4) { $depth++ } elsif (defined $2 || defined $5) { $depth-- } elsif ($depth == 0) {
      push @arguments, [$begin, $-[0]];
      $begin = $+[0];
    }
  }
  push @arguments, [$begin, length $part] if $part =~ /\S/;
  return map { $source->trimmed($at + 1 + $_->[0], $at + 1 + $_->[1]) } @arguments;
}

# Runs a function over the arguments of every call within statements.
sub each_call {
  my ($source, $use) = @_;
  my (%seen, @breaks);
  each_statement($source, sub {
    my ($statement, $code) = @_;
    while ($code =~ /([\w.:]+)(?:<[^<>()]*>)?\(/g) {
      my ($name, $at) = ($1, $statement->{from} + $+[0] - 1);
      next if $seen{$at}++ || $name =~ /^(?:if|for|while|switch|catch|synchronized|try|LogFunction|sizeof)$/;
      push @breaks, $use->($name, arguments($source, $at));
    }
    return ();
  });
  return @breaks;
}

sub argument_exchanges {
  my ($source) = @_;
  return each_call($source, sub {
    my ($name, @arguments) = @_;
    return () if $name =~ $ALIKE;
    return map {
      my ($one, $other) = @arguments[$_ - 1, $_];
      my ($first, $second) = (text($source, @$one{qw(from to)}), text($source, @$other{qw(from to)}));
      $first eq $second || $first =~ /[{;]|^env$/ || $second =~ /[{;]/ || ($first =~ /^"/) != ($second =~ /^"/) ? ()
        : edit([$one->{from}, $other->{to}, $second . text($source, $one->{to}, $other->{from}) . $first]);
    } 1 .. $#arguments;
  });
}

# A variable that is an argument becomes another one that is an argument nearby; most have another type.
sub other_variables {
  my ($source) = @_;
  my @places;
  each_call($source, sub {
    my ($name, @arguments) = @_;
    push @places, grep { code($source, $_) =~ /^[a-zA-Z_]\w*$/ && code($source, $_) !~ /^(?:env|this|null|nullptr|true|false)$/ } @arguments;
    return ();
  });
  my @breaks;
  for my $i (0 .. $#places) {
    my $name = code($source, $places[$i]);
    my %near = map { code($source, $places[$_]) => 1 } grep { $_ >= 0 && $_ <= $#places } $i - 8 .. $i + 8;
    delete $near{$name};
    my @others = sort keys %near;
    push @breaks, edit([$places[$i]{from}, $places[$i]{to}, $others[chosen($source, $places[$i]{from}, scalar @others)]]) if @others;
  }
  return @breaks;
}

sub static_buffers {
  my ($source) = @_;
  if ($source->{java}) {
    return map {
      my $code = code($source, $_);
      $code =~ /^(?:private |volatile |final )*(?=[\w.<>\[\], ]+ \w+(?: =[^=]|;))/ && $code =~ /^private|^volatile/ && $code !~ /\bstatic\b/
        ? edit([$_->{from}, $_->{from}, 'static ']) : ();
    } @{ $source->{members} };
  }
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    return $statement->{kind} eq 'declaration' && $code =~ /^(?!const\b|constexpr\b|static\b|using\b|alignas)[\w:]+ \w+(?:\[| = \{\}|;)/
      ? edit([$statement->{from}, $statement->{from}, 'static ']) : ();
  });
}

sub early_returns {
  my ($source) = @_;
  my @breaks;
  for my $block (@{ $source->{blocks} }) {
    next if !$block->{void} || @{ $block->{statements} } < 2;
    for my $statement (@{ $block->{statements} }[1 .. $#{ $block->{statements} }]) {
      next if $statement->{kind} eq 'jump' || code($source, $statement) =~ /^LogFunction/;
      push @breaks, edit([$statement->{from}, $statement->{from}, 'if (true) { return; } ']);
    }
  }
  return @breaks;
}

sub turned_answers {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement, $code) = @_;
    return () unless $code =~ /^return (?![{"])(.*);$/s && $code !~ /[{;].*;$/s;
    my $value = text($source, $statement->{from} + 7, $statement->{to} - 1);
    return edit([$statement->{from} + 7, $statement->{to} - 1, "!($value)"]);
  });
}

sub finally_drops {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement) = @_;
    my $finally = $statement->{finally} or return ();
    my @plain = @{ $statement->{catches} } || $statement->{resources} ? () : ([$statement->{from}, $statement->{from} + 3, '']);
    return edit(@plain, [$finally->{from}, $statement->{to}, '']);
  });
}

# What a finally does is done no more after a failure; or after an exception still, and no more after an Error.
sub finally_shorts {
  my ($source) = @_;
  return each_statement($source, sub {
    my ($statement) = @_;
    my $finally = $statement->{finally} or return ();
    return () if $statement->{resources} || substr($source->{code}, $statement->{body}[0], $statement->{to} - $statement->{body}[0]) =~ /\b(?:return|throw|continue|break)\b/;
    my $body = text($source, @{ $finally->{body} });
    my @short = @{ $statement->{catches} } ? () : edit([$statement->{from}, $statement->{from} + 3, ''], [$finally->{from}, $finally->{body}[0], '']);
    return (@short, edit([$finally->{from}, $finally->{body}[0], "catch (Exception broken) { $body throw broken; } "]));
  });
}

sub each_catch {
  my ($source, %other) = @_;
  return each_statement($source, sub {
    my ($statement) = @_;
    my @breaks;
    for my $catch (@{ $statement->{catches} // [] }) {
      my ($from, $to) = @{ $catch->{what} };
      my $what = text($source, $from, $to);
      for my $pattern (sort keys %other) {
        push @breaks, edit([$from, $to, $what =~ s/$pattern/$other{$pattern}/r]) if $what =~ /$pattern/;
      }
    }
    return @breaks;
  });
}

sub narrow_catches {
  my ($source) = @_;
  return each_catch($source, '\s*\|\s*\w+(?= \w+$)' => '', '^\w+ \| ' => '', '^RuntimeException (?=\w+$)' => 'IllegalStateException ',
    '^Error (?=\w+$)' => 'LinkageError ', '^(?:Exception|Throwable|CryptokiException|IllegalArgumentException) (?=\w+$)' => 'IllegalCallerException ',
    '^\.\.\.$' => 'int', '^CK_RV Rv$' => 'char Rv', '^const char\* Message$' => 'char* Message');
}

sub wide_catches {
  my ($source) = @_;
  return each_catch($source, '^(?:CryptokiException|IllegalArgumentException|IllegalStateException|ArithmeticException|RuntimeException) (?=\w+$)' => 'Throwable ',
    '^CryptokiException (?=\w+$)' => 'RuntimeException ', '^UnsatisfiedLinkError (?=\w+$)' => 'LinkageError ');
}

1;
