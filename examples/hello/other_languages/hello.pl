# perl hello.pl URL NAME, with Debian's libsoap-lite-perl.
use strict;
use warnings;
use SOAP::Lite;

my ($url, $name) = @ARGV;
my $reply = SOAP::Lite->proxy($url)->ns('IDL:Hello/Greeter:1.0', 'm')->call(
    'm:greet',
    SOAP::Data->name(name => $name)->type('string'),
    SOAP::Data->name(times => 1)->type('int'));
if ($reply->fault) {
    print STDERR $reply->faultstring, "\n";
    exit 3;
}
print $reply->result, "\n";
