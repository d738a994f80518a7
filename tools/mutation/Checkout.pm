package Checkout;

# Copies of a checkout, what is built in them, and commands that say nothing.
use strict;
use warnings;
use Exporter qw(import);

our @EXPORT_OK = qw(copy_checkout configure build run write_source);

sub run { return system('bash', '-c', "{ $_[0]; } >/dev/null 2>&1 </dev/null") }

# A file that is there already, from an earlier run, keeps its time, so that it is not built anew.
sub copy_checkout {
  my ($root, $copy) = @_;
  run("mkdir -p '$copy' && cd '$root' && git ls-files -z -co --exclude-standard | while IFS= read -r -d '' file; do"
    . " cmp -s \"\$file\" \"$copy/\$file\" || cp --parents \"\$file\" '$copy' || exit 1; done") == 0
    or die "cannot copy\n";
}

# Tests find the library by a path relative to their own, so they can be copied to another one.
sub configure {
  my ($copy) = @_;
  run("cd '$copy' && cmake --preset release -D CMAKE_BUILD_RPATH_USE_ORIGIN=ON") == 0 or die "cannot configure\n";
}

sub build {
  my ($copy, @targets) = @_;
  return run("cmake --build '$copy/build/release' --target @targets") == 0;
}

sub write_source {
  my ($path, $text) = @_;
  open my $out, '>', $path or die "$path: $!";
  print $out $text;
  close $out;
}

1;
