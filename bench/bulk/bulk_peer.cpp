// SPDX-License-Identifier: MIT

// The same as bulk_pass with the independent toolkit: bulk_peer CASE write|read literal|encoded DOCUMENT
// PASSES. `write` leaves the document only in memory, so that both read what bulk_pass wrote.

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "bulk.nsmap"
#include "pass.h"
#include "soapH.h"

namespace {

std::string memory;
std::size_t filled = 0;
std::string_view unread;

int send_to_memory(struct soap*, const char* data, size_t length) {
    if (filled + length > memory.size()) return SOAP_EOF;
    std::memcpy(memory.data() + filled, data, length);
    filled += length;
    return SOAP_OK;
}

size_t receive_from_memory(struct soap*, char* buffer, size_t length) {
    const size_t now = std::min(length, unread.size());
    std::memcpy(buffer, unread.data(), now);
    unread.remove_prefix(now);
    return now;
}

struct Measurement {
    std::string name;
    bool write;
    bool encoded;
    const char* document;
    int passes;
};

constexpr char kEncoding[] = "http://schemas.xmlsoap.org/soap/encoding/";

template <class Call, class Put>
void write_passes(const Measurement& m, const Call& call, Put put) {
    memory.assign(120'000'000, ' ');
    const std::string tag = "bulk:" + m.name;
    measure(m.passes, [&] {
        filled = 0;
        struct soap* const soap = soap_new1(m.encoded ? SOAP_IO_BUFFER : SOAP_IO_BUFFER | SOAP_XML_TREE);
        soap->fsend = &send_to_memory;
        soap_set_namespaces(soap, namespaces);
        soap->encodingStyle = m.encoded ? kEncoding : nullptr;
        const bool good = soap_begin_send(soap) == SOAP_OK && soap_envelope_begin_out(soap) == SOAP_OK &&
                          soap_body_begin_out(soap) == SOAP_OK &&
                          put(soap, &call, tag.c_str(), "") == SOAP_OK &&
                          soap_body_end_out(soap) == SOAP_OK && soap_envelope_end_out(soap) == SOAP_OK &&
                          soap_end_send(soap) == SOAP_OK;
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
        return good && filled > 0;
    });
    std::fprintf(stderr, "%zu\n", filled);
}

template <class Call, class Get, class Same>
void read_passes(const Measurement& m, Get get, Same same) {
    const std::string body = contents_of(m.document);
    const std::string tag = "bulk:" + m.name;
    measure(m.passes, [&] {
        unread = body;
        struct soap* const soap = soap_new1(m.encoded ? SOAP_IO_DEFAULT : SOAP_XML_TREE);
        soap->frecv = &receive_from_memory;
        soap->maxoccurs = kBytes;  // beyond its own limit on elements
        soap_set_namespaces(soap, namespaces);
        Call call{};
        const bool good = soap_begin_recv(soap) == SOAP_OK && soap_envelope_begin_in(soap) == SOAP_OK &&
                          soap_recv_header(soap) == SOAP_OK && soap_body_begin_in(soap) == SOAP_OK &&
                          get(soap, &call, tag.c_str(), nullptr) != nullptr &&
                          soap_body_end_in(soap) == SOAP_OK && soap_envelope_end_in(soap) == SOAP_OK &&
                          soap_end_recv(soap) == SOAP_OK;
        if (!good) soap_print_fault(soap, stderr);
        const bool right = good && same(call);
        soap_destroy(soap);
        soap_end(soap);
        soap_free(soap);
        return right;
    });
}

template <class Call, class Put, class Get, class Same>
void run(const Measurement& m, const Call& call, Put put, Get get, Same same) {
    if (m.write) {
        write_passes(m, call, put);
    } else {
        read_passes<Call>(m, get, same);
    }
}

template <class Element, class At>
std::vector<Element> made(int count, At at) {
    std::vector<Element> values;
    values.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) values.push_back(at(i));
    return values;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 64;
    const Measurement m{argv[1], std::string_view(argv[2]) == "write", std::string_view(argv[3]) == "encoded",
                        argv[4], std::atoi(argv[5])};
    if (m.name == "longs") {
        auto values = made<int>(kLongs, &long_at);
        struct bulk__longs call;
        call.values.__ptr = values.data();
        call.values.__size = kLongs;
        run(m, call, &soap_put_bulk__longs, &soap_get_bulk__longs, [](const struct bulk__longs& got) {
            return got.values.__size == kLongs && got.values.__ptr[kLongs - 1] == long_at(kLongs - 1);
        });
    } else if (m.name == "doubles") {
        auto values = made<double>(kDoubles, &double_at);
        struct bulk__doubles call;
        call.values.__ptr = values.data();
        call.values.__size = kDoubles;
        run(m, call, &soap_put_bulk__doubles, &soap_get_bulk__doubles, [](const struct bulk__doubles& got) {
            return got.values.__size == kDoubles && got.values.__ptr[kDoubles - 1] == double_at(kDoubles - 1);
        });
    } else if (m.name == "samples") {
        std::vector<std::string> names = made<std::string>(kSamples, &name_at);
        std::vector<bulk__Sample> values(kSamples);
        for (int i = 0; i < kSamples; ++i) {
            values[i].name = names[i].data();
            values[i].number = i;
            values[i].measure = measure_at(i);
        }
        struct bulk__samples call;
        call.values.__ptr = values.data();
        call.values.__size = kSamples;
        run(m, call, &soap_put_bulk__samples, &soap_get_bulk__samples, [](const struct bulk__samples& got) {
            return got.values.__size == kSamples &&
                   got.values.__ptr[kSamples - 1].name == name_at(kSamples - 1);
        });
    } else if (m.name == "text") {
        std::string text = long_text();
        struct bulk__text call;
        call.values = text.data();
        run(m, call, &soap_put_bulk__text, &soap_get_bulk__text,
            [&](const struct bulk__text& got) { return text == got.values; });
    } else if (m.name == "octets") {
        auto values = made<unsigned char>(kBytes, &octet_at);
        struct bulk__octets call;
        call.values.__ptr = values.data();
        call.values.__size = kBytes;
        run(m, call, &soap_put_bulk__octets, &soap_get_bulk__octets, [&](const struct bulk__octets& got) {
            return got.values.__size == kBytes && std::memcmp(got.values.__ptr, values.data(), kBytes) == 0;
        });
    }
    return 0;
}
