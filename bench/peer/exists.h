// One operation of the bank as the independent toolkit's client calls it.
// Its directives begin right behind the slashes:
// clang-format off
//gsoap bank service name: exists
//gsoap bank service namespace: http://acme.example/bank
//gsoap bank service style: rpc
//gsoap bank service encoding: literal
//gsoap bank schema namespace: http://acme.example/bank
struct bank__existsResponse { bool _return; };
int bank__exists(char* account, struct bank__existsResponse* result);
