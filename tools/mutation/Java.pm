package Java;

# Breaks of the Java sources: the class is compiled into a jar of its own, and the tests in JVMs are asked, as many
# classes of tests in one JVM as get on with each other. Which tests there are and how they are run says CTest.
use strict;
use warnings;
use Checkout qw(copy_checkout configure build run);
use JSON::PP qw(decode_json);

# The oldest JDK is asked; what differs from one JDK to the next is no break's business.
use constant TESTS => qr/^jvm\..*\.jdk17$/;
# What measures time or memory or goes by chance, and what knows the contract's natives and no other class.
use constant LEFT_OUT => qr/^jvm\.(?:runner|matrix\.|token\.)|Soak|Throughput|Monkey|StreamTest|ThreadsTest/;

sub new {
  my ($class, $root, $whole) = @_;
  return bless { root => $root, whole => $whole }, $class;
}

# Builds the jar and the tests, once for all workers.
sub prepare {
  my ($self) = @_;
  my $whole = $self->{whole};
  copy_checkout($self->{root}, $whole);
  configure($whole);
  build($whole, 'jvm_tests') or die "the unbroken tests in JVMs do not build\n";
  my $described = decode_json(scalar `cd '$whole/build/release' && ctest --show-only=json-v1`);
  my %groups;
  for my $test (@{ $described->{tests} }) {
    next unless $test->{name} =~ TESTS && $test->{name} !~ LEFT_OUT;
    my ($labels) = map { $_->{value} } grep { $_->{name} eq 'LABELS' } @{ $test->{properties} };
    next if grep { $_ eq 'privileged' } @{ $labels // [] };
    my @command = @{ $test->{command} };
    my ($at) = grep { $command[$_] =~ m{/run-class$} } 0 .. $#command;
    my ($java, $class_path, $class, @options) = @command[$at + 1 .. $#command];
    # The command line's tests start JVMs themselves.
    my $of_command_line = $class =~ /\.cli\./ ? 'cli' : '';
    my $group = $groups{"$of_command_line @command[0 .. $at - 1] @options"} //=
      { fixture => [@command[0 .. $at - 1]], java => $java, class_path => $class_path, options => \@options };
    push @{ $group->{classes} }, $class;
    open my $in, '<', "$whole/tests/jvm/src/" . $class =~ s{\.}{/}gr . '.java' or die "$class: $!";
    $self->{test_text}{$class} = do { local $/; scalar <$in> };
  }
  my @names = sort keys %groups;
  $self->{groups} = [map { { %{ $groups{ $names[$_] } }, known => "$whole/jvms-$_.json" } } 0 .. $#names];
}

sub worker {
  my ($self, $copy) = @_;
  my $unbroken = "$self->{whole}/build/release/java";
  my $worker = bless { %$self, copy => $copy, jars => "$copy/jars", broken => "$copy/broken-classes" }, 'Java::Worker';
  run("mkdir -p '$worker->{jars}' && cp '$unbroken'/*.jar '$worker->{jars}'") == 0 or die "no jars\n";
  $worker->{unbroken} = bless { %$worker, jars => $unbroken }, 'Java::Worker';
  return $worker;
}

package Java::Worker;
use Checkout qw(run write_source);
use Fcntl qw(:flock);
use File::Basename qw(basename dirname);
use File::Path qw(remove_tree make_path);
use JSON::PP qw(decode_json encode_json);
use Time::HiRes qw(time);

sub judge {
  my ($self, $break) = @_;
  return 'refused' unless $self->compile($break);
  my $jars = $self->{jars};
  run("jar --update --file '$jars/velnor.jar' -C '$self->{broken}' .") == 0 or die "cannot update the jar\n";
  my $verdict = $self->ask('', $break->{file});
  run("cp '$self->{whole}/build/release/java/velnor.jar' '$jars'") == 0 or die "cannot bring back the jar\n";
  return $verdict;
}

# A constant lives on in the classes that use it, so all of them are compiled anew for one.
sub compile {
  my ($self, $break) = @_;
  my ($whole, $broken) = ($self->{whole}, $self->{broken});
  remove_tree($broken);
  my $source = "$self->{copy}/broken-sources/" . $break->{file} =~ s{^java/src/}{}r;
  make_path($broken, dirname($source));
  write_source($source, $break->{text});
  my $classes = "$whole/build/release/java/classes";
  my $others = '';
  if ($break->{description} =~ /\bstatic final\b/) {
    $others = "\$(find '$whole/java/src' '$whole/build/release/java' -name '*.java' ! -name module-info.java"
      . " ! -path '*/" . ($break->{file} =~ s{^java/src/}{}r) . "')";
    $classes = '';
  }
  my $done = run("javac -J-XX:TieredStopAtLevel=1 -J-XX:+UseSerialGC --release 11 -g -encoding UTF-8 -nowarn -proc:none"
    . " -cp '$classes:$self->{jars}/picocli.jar:$self->{jars}/gson.jar' -d '$broken' '$source' $others") == 0;
  unlink $source;
  return $done;
}

# Asks the tests that speak of the broken source first; with another library, if one is given.
sub ask {
  my ($self, $library, $file) = @_;
  my $name = basename($file // 'NativeFunctions.java', '.java');
  my $of_command_line = ($file // '') =~ m{/cli/};
  my %likely;
  for my $class (keys %{ $self->{test_text} }) {
    my $mentions = () = $self->{test_text}{$class} =~ /\b\Q$name\E\b/g;
    $likely{$class} = $mentions + ($class =~ /\.\Q$name\E\w*Test$/ ? 100 : 0) + (($class =~ /\.cli\./) == $of_command_line ? 50 : 0);
  }
  my $best = sub { (sort { $b <=> $a } map { $likely{$_} } @{ $_[0]{classes} })[0] };
  for my $group (sort { $best->($b) <=> $best->($a) || @{ $b->{classes} } <=> @{ $a->{classes} } } @{ $self->{groups} }) {
    for my $jvm (sort { $best->($b) <=> $best->($a) } @{ $self->jvms_of($group) }) {
      my $took = $jvm->{took};
      my @classes = sort { $likely{$b} <=> $likely{$a} || $took->{$a} <=> $took->{$b} } @{ $jvm->{classes} };
      # On a busy machine all takes longer; what waits for ever waits longer still.
      my ($status) = $self->start($group, 60 + 4 * $jvm->{seconds}, $library, @classes);
      return 'hung' if $status == 124 || $status == 137;
      return 'caught' if $status != 0;
    }
  }
  return 'survived';
}

# Which tests of a group get on with each other in one JVM, and what each takes: found out when somebody first asks, and
# kept for the other workers.
sub jvms_of {
  my ($self, $group) = @_;
  return $group->{jvms} if $group->{jvms};
  open my $lock, '>>', "$group->{known}.lock" or die "$group->{known}.lock: $!";
  flock $lock, LOCK_EX or die "flock: $!";
  if (-e $group->{known} && -M $group->{known} < -M "$self->{whole}/build/release/tests/jvm/classes.stamp") {
    open my $in, '<', $group->{known} or die "$group->{known}: $!";
    return $group->{jvms} = decode_json(do { local $/; scalar <$in> });
  }
  my @jvms;
  my @pending = ($group->{classes});
  while (my $classes = shift @pending) {
    next unless @$classes;
    my $begin = time;
    my ($status, $told) = $self->{unbroken}->start($group, 900, '', @$classes);
    my %took = $told =~ /^([\w.]+) took (\d+) ms$/mg;
    if ($status == 0) {
      push @jvms, { classes => $classes, took => \%took, seconds => time - $begin };
      next;
    }
    my ($failed) = grep { !exists $took{$_} } @$classes;
    if (@$classes > 1) {
      push @pending, [$failed];
      unshift @pending, [grep { $_ ne $failed } @$classes];
    } elsif ($status == 77) {
      print STDERR "not asked, because it cannot run here: $failed\n";
    } else {
      print STDERR "not asked, because the unbroken classes do not pass it here: $failed\n$told";
    }
  }
  open my $out, '>', $group->{known} or die "$group->{known}: $!";
  print $out encode_json(\@jvms);
  close $out;
  return $group->{jvms} = \@jvms;
}

# Runs classes of tests in one JVM, to the first failure.
sub start {
  my ($self, $group, $seconds, $library, @classes) = @_;
  my $directory = "$self->{copy}/jvm-$$";
  remove_tree($directory);
  make_path($directory);
  my $whole_jars = "$self->{whole}/build/release/java";
  my $class_path = $group->{class_path} =~ s{\Q$whole_jars\E/velnor\.jar}{$self->{jars}/velnor.jar}r;
  my @options = map { $library ne '' && /^-Dharlune\.library=/ ? "-Dharlune.library=$library" : $_ } @{ $group->{options} };
  my @command = (@{ $group->{fixture} }, $group->{java}, "-Djava.io.tmpdir=$directory", "-Djna.tmpdir=$directory",
    "-Duser.home=$directory", '-XX:-UsePerfData', '-XX:-CreateCoredumpOnCrash', "-XX:ErrorFile=$directory/crash.log",
    '-Duser.language=en', '-Xmx1g', '-XX:TieredStopAtLevel=1', @options, '-cp', $class_path, 'harlune.runner.FirstFailure', @classes);
  my $command = join ' ', map { "'" . s/'/'\\''/gr . "'" } @command;
  my $status = run("cd / && TMPDIR='$directory' timeout -k 20 " . int($seconds) . " $command >'$directory/told'") >> 8;
  open my $in, '<', "$directory/told" or return ($status, '');
  return ($status, do { local $/; scalar(<$in>) // '' });
}

1;
