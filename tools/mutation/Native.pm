package Native;

# Breaks of the native sources: the library is built anew, the native tests are asked, and of those that they let pass
# the tests in JVMs.
use strict;
use warnings;
use Checkout qw(copy_checkout configure build run write_source);
use File::Basename qw(basename dirname);
use POSIX ();

# These are linked from the library's objects, so they are built anew with it; and last, because few breaks need them.
my @HOOK_TESTS = qw(log_hook_test tracing_test);

sub new {
  my ($class, $root, $whole, $java) = @_;
  return bless { root => $root, whole => $whole, java => $java }, $class;
}

# Builds all tests, once for all workers.
sub prepare {
  my ($self) = @_;
  my $whole = $self->{whole};
  copy_checkout($self->{root}, $whole);
  configure($whole);
  build($whole, 'tests/native/all') or die "the unbroken tests do not build\n";
  my $tests = 'build/release/tests/native';
  $self->{tests} = [map { s{^\Q$whole\E/}{}r } grep { -x } glob("$whole/$tests/*_test $whole/$tests/*/*_test")];
  @{ $self->{tests} } or die "there are no native tests\n";
}

# A worker with a copy of its own.
sub worker {
  my ($self, $copy) = @_;
  copy_checkout($self->{root}, $copy);
  configure($copy);
  build($copy, 'harlune', 'harlune_open', @HOOK_TESTS) or die "the unbroken library does not build\n";
  my $worker = bless { copy => $copy, own => [], hooks => [] }, 'Native::Worker';
  for my $test (@{ $self->{tests} }) {
    if (grep { basename($test) eq $_ } @HOOK_TESTS) {
      push @{ $worker->{hooks} }, "$copy/$test";
    } else {
      my $place = dirname("$copy/$test");
      run("mkdir -p '$place' && cp '$self->{whole}/$test' '$place'") == 0 or die "cannot copy $test\n";
      push @{ $worker->{own} }, "$copy/$test";
    }
  }
  for my $test (@{ $worker->{own} }, @{ $worker->{hooks} }) {
    ask($test) eq 'survived' or die "the unbroken library does not pass " . basename($test) . "\n";
  }
  $worker->{java} = $self->{java}->worker($copy);
  return $worker;
}

sub ask {
  for my $test (@_) {
    # Seconds of its own, so that a busy machine makes no test fail; and of the clock, for what waits for ever.
    my $status = run("cd / && ulimit -t 60 && timeout 300 '$test' --gtest_brief=1 --gtest_fail_fast") >> 8;
    return 'hung' if $status == 124 || $status == 128 + POSIX::SIGXCPU || $status == 128 + POSIX::SIGKILL;
    return 'caught' if $status;
  }
  return 'survived';
}

package Native::Worker;
use Checkout qw(build run write_source);
use File::Basename qw(basename);

sub judge {
  my ($self, $break, $unbroken) = @_;
  my $copy = $self->{copy};
  write_source("$copy/$break->{file}", $break->{text});
  # The tests of the broken source first: they are the likeliest to notice.
  my $source = basename($break->{file}) =~ s/\..*//r;
  my @tests = sort { likely($b, $source) <=> likely($a, $source) } @{ $self->{own} };
  my $verdict = build($copy, 'harlune', 'harlune_open') ? Native::ask(@tests) : 'refused';
  if ($verdict eq 'survived') {
    $verdict = build($copy, @HOOK_TESTS) ? Native::ask(@{ $self->{hooks} }) : 'refused';
  }
  if ($verdict eq 'survived') {
    $verdict = run("cd '$copy/build/release' && ctest -R '^symbols\\.(shipped_library|grouping|state)\$'") == 0 ? 'survived' : 'caught';
  }
  if ($verdict eq 'survived') {
    $verdict = $self->{java}->ask("$copy/build/release/src/Harlune/libharlune.so");
  }
  write_source("$copy/$break->{file}", $unbroken);
  return $verdict;
}

# Whether a test is of a source, or of its family of natives.
sub likely {
  my ($test, $source) = @_;
  my $name = basename($test);
  return (index($name, $source) == 0 ? 2 : 0) + ($source =~ /^functions/ && $name =~ /^functions/ ? 1 : 0);
}

1;
