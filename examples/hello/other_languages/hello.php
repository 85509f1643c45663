<?php
// php hello.php hello.encoded.wsdl NAME: the WSDL says where the object is and what it takes.
$greeter = new SoapClient($argv[1], ["cache_wsdl" => WSDL_CACHE_NONE]);
try {
    echo $greeter->greet($argv[2], 1), "\n";
} catch (SoapFault $fault) {
    fwrite(STDERR, $fault->faultstring . "\n");
    exit(3);
}
