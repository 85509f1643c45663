# SPDX-License-Identifier: MIT
"""An independent SOAP client (SOAP::Lite for Perl) calls the bank, in SOAP's encoded style."""
import os
import subprocess
import unittest

import bank

SCRIPT = r'''
use strict; use warnings; use SOAP::Lite;
my $bank = SOAP::Lite->proxy($ENV{BANK}, timeout => 20)->default_ns('http://acme.example/bank')->on_fault(sub { $_[1] });
my $answer = $bank->call('exists', SOAP::Data->name(account => 'alice'));
print "exists=", $answer->result, "\n";
my $receipt = $bank->call('withdraw', SOAP::Data->name(account => 'alice'), SOAP::Data->name(amount => 0))->result;
print "receipt=", join(',', map { "$_=$receipt->{$_}" } sort keys %$receipt), "\n";
my $transfer = $bank->call('transfer', map { SOAP::Data->name(@$_) } [source => 'alice'], [target => 'bob'], [amount => 0]);
print "out=", join(',', $transfer->paramsall), "\n";
my $echo = $bank->call('echo', SOAP::Data->name(text => 'a<b> & "c"')->type('string'));
print "echo=", join(',', $echo->paramsall), "\n";
my $limits = $bank->call('limits');
print "limits=", join(',', $limits->paramsall), "\n";
my $fault = $bank->call('withdraw', SOAP::Data->name(account => 'zoe'), SOAP::Data->name(amount => 1));
print "fault=", $fault->faultcode, "\n";
print "detail=", join(',', map { ref $_ ? values %$_ : $_ } values %{$fault->faultdetail}), "\n";
'''


class SoapLite(unittest.TestCase):
    def test_every_shape_of_call(self):
        server = bank.Server()
        out = subprocess.run(['perl', '-e', SCRIPT], capture_output=True, text=True, timeout=120,
                             env={**os.environ, 'BANK': server.url})
        server.stop()
        self.assertEqual(out.stdout.splitlines(), [
            'exists=1', 'receipt=account=alice,amount=0,balance=10000,mood=CALM', 'out=10000,5000', 'echo=a<b> & "c"',
            'limits=-32768,65535,4294967295,255,<,1', 'fault=SOAP-ENV:Server', 'detail=zoe'], out.stderr)


if __name__ == '__main__':
    bank.main()
