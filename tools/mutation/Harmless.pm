package Harmless;

# Breaks that nobody can notice, neither through Java nor in the module: never drawn. A pattern is about the
# description.
use strict;
use warnings;
use Exporter qw(import);

our @EXPORT_OK = qw(harmless_row harmless_reason harmless_rows);

my @harmless = (
  [qr/loses the sign: (?:const CK_ULONG room =|.*=> .*narrow\(0xFFFFFFFFUL)/, 'the upper half is cut off later'],
  [qr/loses the sign: .*widen\(env->Get(?:Array|String|StringUTF)Length/, 'no JVM answers a negative length'],
  [qr/(?:attributes|sessions)\.cpp:\d+ loses the sign: .*widen\(length\)/, 'such a length, too'],
  [qr/functions\.h:\d+ loses the sign: .*widen\(len\)/, 'within its array by then'],
  [qr/functions\.h:\d+ loses the sign: .*widen\(size\)/, 'the length of an array'],
  [qr/loses the sign: .*widen\(head\.\w+\)/, 'a negative one is refused in any case'],
  [qr/loses the sign: .*widen\(tell\(/, 'the length of a text'],
  [qr/functions_\w+\.cpp:\d+ swaps two lines: const CK_(?:RV Rv = C_OpenSession|ULONG blockSize)/, 'neither needs the other'],
  [qr/loses the sign: requireWithin/, 'too long, with or without the sign'],
  [qr/changes a number: (?:enum : Register \{|ReturnedKeyMaterial = 1,)/, 'registers need only differ'],
  [qr/mechanism_parameter_checks\.h:\d+ /, 'what the compiler alone is asked'],
  [qr/changes a number: std::size_t (?:length|pointer)Offset = 0;/, 'a default for rows that have no such thing'],
  [qr/changes a number: .*inner\.size == 0 \? nullptr/, 'a second structure is never looked for where there is none'],
  [qr/swaps two lines: const jint \w+ = Check64BitLen.* => const jint \w+ = Check64BitLen/, 'both report the same'],
  [qr/swaps two lines: (?:number\(|.* => number\()/, 'stores of a structure in another order'],
  [qr/swaps two lines: (?:const jint minor = |const AttributeClass .*=> const jint length|store\()/,
    'neither needs the other'],
  [qr/moves a statement across a call: (?:(?:release|[fF]ree\w+)\([^;()]*\); ){2}=>/,
    'memory goes back in another order'],
  [qr/errors\.cpp:\d+ drops a condition: if \(array != nullptr\) \{ => if \(true\)/, 'the process ends one call earlier'],
  [qr/moves a check behind: MUST_HOLD.* => env->DeleteLocalRef/, 'the process ends one call later'],
  [qr/changes a letter of a text: .*\bsizeof "/, 'a text whose length alone counts'],
  [qr/changes a letter of a text: .*std::fopen\(\w+, "rb"\)/, 'a mode that the C library ignores'],
  [qr/changes a number: CK_UTF8CHAR TokenLabel\[32\]/, 'modules take 32 bytes'],
  [qr/changes a number: .*(?:\bmapName|\bterminated|\bonStack)\[/, 'room to spare'],
  [qr/changes a number: .*(?:tryAllocate\(|attach<char>\(|grown = allocate)/, 'room to spare'],
  [qr/changes a number: .*std::calloc\(size == 0/, 'no bytes make a block, too, and more bytes do no harm'],
  [qr/changes a number: (?:CK_ULONG (?:size|FindObjectCount)|std::size_t (?:capacity|read|length)|buffer|loan) = .*0\}?;/,
    'overwritten before it counts'],
  [qr/functions_sessions\.cpp:\d+ changes a constant of the standard: return CKR_OK;/, 'a value that is thrown away'],
  [qr/moves a boundary: if \(file < 0\)/, 'only a process without its standard streams opens a file as 0'],
  [qr/drops a statement: (?:entry\.pValue = nullptr|entry\.ulValueLen = 0|length = 0);/, 'zeroed already'],
  [qr/errors\.cpp:\d+ moves a boundary: const CK_RV Value = Error/, 'that value has a row of the same text'],
  [qr/changes a (?:number|release mode): loadLibrary\(sLibName, freeLibrary, 0\);|changes a truth value: .*Library3\(.*JNI_FALSE\);/,
    'the last argument has no effect'],
  [qr/changes a truth value: jboolean isCopy/, 'the JVM overwrites it'],
  [qr/moves a boundary: if \(.*\bcapacity - |changes a number: (?:capacity = 2|constexpr std::size_t nReadUnit)/,
    'reads or grows in other portions'],
);

sub harmless_row {
  my ($description) = @_;
  my ($row) = grep { $description =~ $harmless[$_][0] } 0 .. $#harmless;
  return $row;
}

sub harmless_reason { return $harmless[ $_[0] ][1] }

sub harmless_rows { return 0 .. $#harmless }

1;
