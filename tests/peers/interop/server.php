<?php
// SPDX-License-Identifier: MIT
// Serves interop.wsdl by PHP's own SOAP server; run by PHP's own web server.

ini_set('soap.wsdl_cache_enabled', '0');
ini_set('precision', '17');
ini_set('serialize_precision', '17');

class InteropTest {
    public function echoVoid() {}
    public function echoStructAsSimpleTypes($value) {
        return ['outputString' => $value->varString, 'outputInteger' => $value->varInt, 'outputFloat' => $value->varFloat];
    }
    public function echoSimpleTypesAsStruct($text, $number, $fraction) {
        return (object) ['varString' => $text, 'varInt' => $number, 'varFloat' => $fraction];
    }
    public function echoInOut($text, $number) {
        $twice = $number * 2;
        $twice = ($twice + 2147483648) % 4294967296 - 2147483648;
        return ['return' => "$text/$number", 'inoutString' => strtoupper($text), 'outputInteger' => (int) $twice];
    }
    public function raiseFault($reason) {
        throw new SoapFault('Server', $reason, null, (object) ['reason' => $reason], 'InteropFault');
    }
    /// All others give back what they get.
    public function __call($operation, $arguments) { return $arguments[0]; }
}

$server = new SoapServer(__DIR__ . '/interop.wsdl');
$server->setClass('InteropTest');
$server->handle();
