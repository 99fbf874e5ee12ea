#!/usr/bin/perl
# Prints unicode_9_case.inc from the Unicode data that comes with perl, whatever its version: a
# mapping belongs to Unicode 9.0 when both of its characters do, for case pairs never change later.
use strict;
use warnings;
use Unicode::UCD qw(prop_invmap);

# The age that perl gives to each character, and whether that is 9.0 or before.
my ($age_starts, $ages) = prop_invmap('Age');
my @known;
for my $n (0 .. $#$age_starts) {
    my $known = $ages->[$n] =~ /^V?(\d+)[._]\d+$/ && $1 <= 9;
    last if $age_starts->[$n] > 0xFFFF;
    my $next = $age_starts->[$n + 1] // 0x10000;
    $known[$_] = $known for $age_starts->[$n] .. $next - 1;
}

# Character to mapped character, for those of the basic plane that change.
sub mapping {
    my ($starts, $values, undef, $default) = prop_invmap($_[0]);
    my %to;
    for my $n (0 .. $#$starts) {
        next if $values->[$n] eq $default || $starts->[$n] > 0xFFFF;
        for my $c ($starts->[$n] .. $starts->[$n + 1] - 1) {
            my $mapped = $values->[$n] + $c - $starts->[$n];
            $to{$c} = $mapped if $mapped <= 0xFFFF && $known[$c] && $known[$mapped];
        }
    }
    return \%to;
}

# Runs by steps of 1 or 2 with one delta, in brief rows.
sub print_runs {
    my ($name, $to) = @_;
    my @runs;
    for my $c (sort { $a <=> $b } keys %$to) {
        my $delta = $to->{$c} - $c;
        my $run = $runs[-1];
        my $step = $run ? $c - $run->[1] : 0;
        if ($run && $run->[3] == $delta && $step <= 2 && ($run->[0] == $run->[1] || $step == $run->[2])) {
            @$run[1, 2] = ($c, $step);
        } else {
            push @runs, [$c, $c, 1, $delta];
        }
    }
    print "constexpr CaseRun $name\[] = {\n";
    printf "    {0x%04X, 0x%04X, %d, %d},\n", @$_ for @runs;
    print "};\n";
}

my $upper = mapping('Simple_Uppercase_Mapping');
my $title = mapping('Simple_Titlecase_Mapping');
delete @$title{grep { ($upper->{$_} // $_) == $title->{$_} } keys %$title};

print "// Printed by unicode_9_case.pl: the simple case mappings of Unicode 9.0, basic plane.\n\n";
print_runs('simpleUpper', $upper);
print "\n";
print_runs('simpleLower', mapping('Simple_Lowercase_Mapping'));
print "\n// Where title case is not upper case.\n";
print_runs('simpleTitle', $title);
