// The bank's interface, as the independent toolkit that we measure against takes it.
// Its directives begin right behind the slashes:
// clang-format off
//gsoap bank service name: bank
//gsoap bank service namespace: http://acme.example/bank
//gsoap bank service style: rpc
//gsoap bank service encoding: literal
//gsoap bank schema namespace: http://acme.example/bank
enum bank__Mood { CALM, NERVOUS, ANGRY };
struct bank__Receipt {
    char* account;
    int amount;
    int balance;
    enum bank__Mood mood;
};
struct bank__withdrawResponse { struct bank__Receipt* _return; };
int bank__withdraw(char* account, int amount, struct bank__withdrawResponse* result);
