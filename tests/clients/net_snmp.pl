# Net::SNMP, Debian's libnet-snmp-perl. Plan on standard input, cells on standard output: see run.
use strict;
use warnings;
use JSON::PP;
use Net::SNMP;

my $plan = decode_json(do { local $/; <STDIN> });
my ($session, $error) = Net::SNMP->session(
    -hostname => '127.0.0.1', -port => $plan->{port}, -community => 'common', -version => 'snmpv2c',
    -timeout => $plan->{timeout}, -retries => $plan->{retries}, -translate => ['-all' => 0]);
die $error unless $session;

# The cells of a reply; noSuch... and endOfMibView aren't values.
sub cells {
    my ($reply) = @_;
    return {error => $session->error} unless $reply;
    my $types = $session->var_bind_types;
    return {map { $_ => "$reply->{$_}" } grep { !$types || ($types->{$_} // 0) < 0x80 } keys %$reply};
}

# The client's buffer of 1472 octets suffices for the repetitions that it chooses itself.
sub large_entries {
    $session->max_msg_size(65535);
    my $cells = cells($session->get_entries(-columns => $plan->{columns}, -maxrepetitions => 60));
    $session->max_msg_size(1472);
    return $cells;
}

my %table;
%table = (%table, %{cells($session->get_table(-baseoid => $_))}) for @{$plan->{columns}};
print encode_json({
    cells => {
        'get_table of each column' => \%table,
        'get_entries of all columns' => cells($session->get_entries(-columns => $plan->{columns})),
        'get_entries of all columns, 60 rows' => large_entries(),
        'get of known and unknown' => cells($session->get_request(-varbindlist => $plan->{mixed})),
    },
});
