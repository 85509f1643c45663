// SPDX-License-Identifier: MIT
#include "last_error.h"

#include <netdb.h>
#include <vqsys/net.h>

#include <cstring>

namespace {

struct LastError {
    int number;
    bool from_lookup;
};
constinit thread_local LastError last_error{0, false};

}  // namespace

int vq_fail(int error_number) {
    last_error = {error_number, false};
    return error_number;
}

int vq_fail_lookup(int lookup_result) {
    last_error = {lookup_result, true};
    return lookup_result;
}

const char* vqNetErrorText() {
    if (last_error.number == 0) return "";
    if (last_error.from_lookup) return gai_strerror(last_error.number);
    thread_local char words[128];
    return strerror_r(last_error.number, words, sizeof words);
}
