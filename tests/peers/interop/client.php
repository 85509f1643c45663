<?php
// SPDX-License-Identifier: MIT
// Calls every operation of interop.wsdl by PHP's own SOAP client, in SOAP's encoded style, at the URL given.
// Prints PASS or FAIL with the operation, a line each, then the number of each.

ini_set('soap.wsdl_cache_enabled', '0');
ini_set('precision', '17');
$client = new SoapClient(__DIR__ . '/interop.wsdl', ['location' => $argv[1], 'trace' => true, 'keep_alive' => true]);
$passed = $failed = 0;

function check(string $name, $expected, callable $call): void {
    global $passed, $failed, $client;
    try {
        $got = $call();
    } catch (SoapFault $fault) {
        $got = 'fault: ' . $fault->getMessage();
    }
    // Objects by value; the kind of a number counts as little as on the wire.
    $same = json_encode($got, JSON_PARTIAL_OUTPUT_ON_ERROR) === json_encode($expected, JSON_PARTIAL_OUTPUT_ON_ERROR)
        || $got === $expected || (is_float($expected) && is_nan($expected) && is_nan($got));
    $same ? $passed++ : $failed++;
    echo $same ? "PASS $name\n" : "FAIL $name: sent " . json_encode($expected) . ', got ' . json_encode($got) . "\n"
        . $client->__getLastRequest() . "\n" . $client->__getLastResponse() . "\n";
}

function record(string $text, int $number, float $fraction): stdClass {
    return (object) ['varString' => $text, 'varInt' => $number, 'varFloat' => $fraction];
}

$texts = ['', 'plain', '<a href="b">&amp;</a>', " two  blanks\tand a tab ", "\u{e4}\u{f6} \u{4f60}\u{597d} \u{1d11e}"];
$inner = record('inner', 5, 6.5);
$nested = (object) ['varString' => 'outer', 'varInt' => 7, 'varFloat' => 8.5, 'varStruct' => $inner];
$array = (object) ['varString' => 'array', 'varInt' => 9, 'varFloat' => 0.25, 'varArray' => ['p', 'q', '<r>']];
$bytes = implode(array_map('chr', range(0, 255)));
$echoes = [
    'echoString' => $texts,
    'echoStringArray' => [[], ['one'], $texts],
    'echoInteger' => [0, 2147483647, -2147483648],
    'echoIntegerArray' => [[], [1], range(-50, 1000)],
    'echoFloat' => [0.0, 1.5, -0.03125, INF, -INF, NAN],
    'echoFloatArray' => [[], [1.5, -2.25]],
    'echoStruct' => [record('text <&>', -1, 0.5)],
    'echoStructArray' => [[], [record('a', 1, 0.5), record('', 2, -0.5)]],
    'echoBase64' => ['', 'a', 'ab', $bytes],
    'echoHexBinary' => ['', 'a', $bytes],
    'echoDate' => ['2001-09-09T01:46:40Z', '1970-01-01T00:00:00Z'],
    'echoDecimal' => ['123.45', '-12345678901234567890.0123'],
    'echoBoolean' => [true, false],
    'echo2DStringArray' => [[['a', 'b', 'c'], ['d', 'e', 'f']]],
    'echoNestedStruct' => [$nested],
    'echoNestedArray' => [$array],
    'echoStringArrayArray' => [[['a', 'b'], ['c', 'd']]],
    'echoShort' => [-32768, 32767],
    'echoUnsignedInt' => [0, 4294967295],
    'echoDouble' => [0.1, -1e300, 5e-324, INF],
    'echoEnum' => ['red', 'blue'],
];
foreach ($echoes as $operation => $values) {
    foreach ($values as $index => $value) {
        check("$operation.$index", $value, fn() => $client->$operation($value));
    }
}
check('echoVoid', null, fn() => $client->echoVoid());
check('echoStructAsSimpleTypes', ['outputString' => 'x', 'outputInteger' => 3, 'outputFloat' => 0.75],
      fn() => $client->echoStructAsSimpleTypes(record('x', 3, 0.75)));
check('echoSimpleTypesAsStruct', record('<y>', 4, 1.25), fn() => $client->echoSimpleTypesAsStruct('<y>', 4, 1.25));
check('echoInOut', ['return' => 'abc/21', 'inoutString' => 'ABC', 'outputInteger' => 42],
      fn() => $client->echoInOut('abc', 21));
check('raiseFault', 'InteropFault: because <of> that', function () use ($client) {
    try {
        return $client->raiseFault('because <of> that');
    } catch (SoapFault $fault) {
        return array_key_first((array) $fault->detail) . ': ' . current((array) $fault->detail)->reason;
    }
});
echo "$passed passed, $failed failed\n";
exit($failed === 0 ? 0 : 1);
