// The values of the bulk measurements, as the independent toolkit that we measure against takes them. Its
// arrays with a pointer and a size read both ways of writing: SOAP arrays and plain elements.
//
// Its directives begin right behind the slashes:
// clang-format off
//gsoap bulk service name: bulk
//gsoap bulk service namespace: http://acme.example/bulk
//gsoap bulk service style: rpc
//gsoap bulk schema namespace: http://acme.example/bulk
struct Longs { int* __ptr; int __size; };
struct Doubles { double* __ptr; int __size; };
struct bulk__Sample { char* name; int number; float measure; };
struct Samples { struct bulk__Sample* __ptr; int __size; };
struct xsd__base64Binary { unsigned char* __ptr; int __size; };
int bulk__longs(struct Longs values, void);
int bulk__doubles(struct Doubles values, void);
int bulk__samples(struct Samples values, void);
int bulk__text(char* values, void);
int bulk__octets(struct xsd__base64Binary values, void);
