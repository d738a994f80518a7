package Small;

# Breaks of one place of one line: a sign, a number, a letter.
use strict;
use warnings;
use Exporter qw(import);

our @EXPORT_OK = qw(small);

# A kind of break: what it does, and a function that gives every broken variant of a line.
my @both = (
  ['turns a comparison round', sub { vary($_[0], qr/(?<![<=>!-])(==|!=)(?!=)/, { '==' => '!=', '!=' => '==' }) }],
  ['moves a boundary', sub { vary($_[0], qr/(?<= )(<=|>=|<|>)(?= [\w(])/, { '<=' => '<', '>=' => '>', '<' => '<=', '>' => '>=' }) }],
  ['mixes up and and or', sub { vary($_[0], qr/(&&|\|\|)/, { '&&' => '||', '||' => '&&' }) }],
  ['changes a number', sub { vary($_[0], qr/(?<![\w.])(0x[0-9A-F]+|\d+)(?![\w.])/, sub { "($_[0] + 1)" }) }],
  ['changes a letter of a text', sub { texts($_[0]) }],
  ['changes a truth value', sub { vary($_[0], qr/\b(JNI_TRUE|JNI_FALSE|CK_TRUE|CK_FALSE|true|false)\b/,
     { JNI_TRUE => 'JNI_FALSE', JNI_FALSE => 'JNI_TRUE', CK_TRUE => 'CK_FALSE', CK_FALSE => 'CK_TRUE', true => 'false', false => 'true' }) }],
);
my @native = (
  ['changes a release mode', sub { vary($_[0], qr/(JNI_ABORT|(?<=, )0(?=\);$))/, { 'JNI_ABORT' => '0', '0' => 'JNI_ABORT' }) }],
  ['changes a constant of the standard', sub { vary($_[0], qr/(?<!::)\b(CK[MARF]_\w+|kOutputGuess|kReadBufferSize|MaxObjectCount)\b/, sub { "($_[0] + 1)" }) }],
  ['loses the sign', sub { vary($_[0], qr/\b(widen\()/, sub { '0xFFFFFFFFUL & widen(' }) }],
  ['cuts a handle', sub { vary($_[0], qr/\b(handle\()/, sub { '0xFFFFFFFFUL & handle(' }) }],
);
my @java = (
  ['takes away instead', sub { vary($_[0], qr/(?<=\w )([+-])(?= \w)|(\+\+|--)(?=;)/, { '+' => '-', '-' => '+', '++' => '--', '--' => '++' }) }],
);

# Every break of one line of a source.
sub small {
  my ($source) = @_;
  my @kinds = (@both, $source->{java} ? @java : @native);
  my @breaks;
  for my $i (0 .. $#{ $source->{lines} }) {
    my $start = $source->{starts}[$i];
    my $line = $source->{lines}[$i] =~ s/\n$//r;
    my $outside = substr $source->{code}, $start, length $line;
    next if $outside !~ /\S/ || $line =~ m{^\s*(?:\}|static_assert|\@|package|import)|LogFunction|^extern|^(?:inline |template )};
    my $code = substr $line, 0, length($outside =~ s/\s+$//r);
    for my $kind (@kinds) {
      my ($what, $make) = @$kind;
      push @breaks, map { +{ what => $what, edits => [[$start, $start + length $code, $_]] } } $make->([$code, $outside]);
    }
    # Two neighbours that are alike, statements or rows of a table, change places.
    next if $i == $#{ $source->{lines} };
    my $next = $source->{lines}[ $i + 1 ] =~ s/\n$//r;
    for my $shape (qr/^(\s+)(?:find|read|call|number|bytes|chars|\{).*\),$/, qr/^(\s+)const \w+ \w+ =.*;$/) {
      next unless $line =~ $shape;
      my $indent = $1;
      next unless $next =~ $shape && $1 eq $indent;
      push @breaks, { what => 'swaps two lines', edits => [[$start, $start + length("$line\n$next"), "$next\n$line"]] };
    }
  }
  return @breaks;
}

# Every variant of a line in which one match of a pattern is replaced, outside of texts.
sub vary {
  my ($both, $pattern, $replacement) = @_;
  my ($line, $outside) = @$both;
  my @variants;
  while ($outside =~ /$pattern/g) {
    my ($group) = grep { defined $-[$_] } 1 .. $#-;
    my ($at, $length) = ($-[$group], $+[$group] - $-[$group]);
    my $found = substr $line, $at, $length;
    my $new = ref $replacement eq 'CODE' ? $replacement->($found) : $replacement->{$found};
    push @variants, substr($line, 0, $at) . $new . substr($line, $at + $length);
  }
  return @variants;
}

# One broken variant for each text of the line.
sub texts {
  my ($line, $outside) = @{ $_[0] };
  my @variants;
  while ($outside =~ /"(_*)"/g) {
    my ($at, $text) = ($-[1], substr $line, $-[1], length $1);
    next unless $text =~ /[A-Za-z]/;
    my @letters = grep { substr($text, $_, 1) =~ /[A-Za-z]/ && !($_ > 0 && substr($text, $_ - 1, 1) eq '\\') } 0 .. length($text) - 1;
    next unless @letters;
    my $letter = $letters[ int(@letters / 2) ];
    my $broken = $text;
    substr($broken, $letter, 1) = substr($text, $letter, 1) eq 'q' ? 'z' : 'q';
    push @variants, substr($line, 0, $at) . $broken . substr($line, $at + length $text);
  }
  return @variants;
}

1;
