# SNMP, Debian's libsnmp-perl. Plan on standard input, cells on standard output: see run.
use strict;
use warnings;
use JSON::PP;
use SNMP;

my $plan = decode_json(do { local $/; <STDIN> });
my $session = SNMP::Session->new(
    DestHost => "127.0.0.1:$plan->{port}", Community => 'common', Version => 2, UseNumeric => 1,
    Timeout => $plan->{timeout} * 1_000_000, Retries => $plan->{retries});

# Cells by the name that the client stores them under.
sub cells {
    my %found;
    for (@_) {
        my ($column, $index, $value, $type) = @$_;
        my $name = length($index // '') ? "$column.$index" : $column;
        $name =~ s/^\.//;
        $found{$name} = "$value" if defined $value && ($type // '') !~ /^(NOSUCH|ENDOFMIB|NULL)/;
    }
    $found{error} = $session->{ErrorStr} if $session->{ErrorStr};
    return \%found;
}

# The rows that bulkwalk sorts under each column: by their place, not by their name.
sub walk {
    my ($repetitions) = @_;
    my @columns = map { [$_] } @{$plan->{columns}};
    my @found = $session->bulkwalk(0, $repetitions, SNMP::VarList->new(@columns));
    return cells(map { @$_ } grep { ref } @found);
}

my $mixed = SNMP::VarList->new(map { [$_] } @{$plan->{mixed}});
print encode_json({
    cells => {
        'bulkwalk of all columns' => walk(10),
        'bulkwalk of all columns, 60 rows' => walk(60),
        'get of known and unknown' => do { $session->get($mixed); cells(@$mixed) },
    },
});
