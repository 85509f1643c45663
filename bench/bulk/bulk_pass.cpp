// SPDX-License-Identifier: MIT

// bulk_pass CASE write|read literal|encoded DOCUMENT PASSES: writes values of the case into memory, or reads
// them from it, as often as told; `write` leaves the document in the file, `read` takes it from there. Prints
// the processor time of the best pass in nanoseconds and the kilobytes of memory that a pass needs at its
// peak.

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <caldane/values.h>

#include "encoder/soap_named_value.h"
#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "pass.h"
#include "streams/stream.h"

namespace {

class Sample final : public _Caldane_Struct<Sample> {
public:
    _Caldane_String name;
    _Caldane_Long number = 0;
    float measure = 0;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {_Caldane_member<&Sample::name>("name"),
                                                       _Caldane_member<&Sample::number>("number"),
                                                       _Caldane_member<&Sample::measure>("measure")};
        static constexpr _Caldane_StructInfo kInfo{
            {"IDL:Acme/Bulk/Sample:1.0", "Sample", "http://acme.example/bulk"}, kMembers};
        return kInfo;
    }
};

using Longs = _Caldane_Sequence<_Caldane_Long>;
using Doubles = _Caldane_Sequence<double>;
using Samples = _Caldane_Sequence<Sample>;
using Octets = _Caldane_Sequence<unsigned char>;

/// Memory that is there before the first pass, and is filled from its start in each.
class FixedSink final : public COutputStream {
public:
    FixedSink(std::string& to, std::size_t& length) : memory(to), filled(length) {}
    int write(const char* data, int length) override {
        const auto count = static_cast<std::size_t>(length);
        if (filled + count > memory.size()) return 0;
        std::memcpy(memory.data() + filled, data, count);
        filled += count;
        return length;
    }
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return 0; }

private:
    std::string& memory;
    std::size_t& filled;
};

class TextSource final : public CInputStream {
public:
    TextSource(std::string_view begins, std::string_view goes_on) : head(begins), body(goes_on) {}
    int get() override {
        char c = 0;
        return read(&c, 1) == 1 ? static_cast<unsigned char>(c) : -1;
    }
    int read(char* buffer, int length) override {
        std::string_view& from = head.empty() ? body : head;
        const std::size_t now = std::min(static_cast<std::size_t>(length), from.size());
        std::memcpy(buffer, from.data(), now);
        from.remove_prefix(now);
        return static_cast<int>(now);
    }
    int available() override { return -1; }
    int status() override { return 0; }

private:
    std::string_view head;
    std::string_view body;
};

struct Measurement {
    std::string name;
    bool write;
    bool encoded;
    const char* document;
    int passes;
};

void put_envelope(_SOAP_OutStream& out, const Measurement& m, _Caldane_AnyConstRef value) {
    out.put_text(
        "<E:Envelope xmlns:E=\"http://schemas.xmlsoap.org/soap/envelope/\""
        " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
        " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
        " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\"");
    if (m.encoded) out.put_text(" E:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\"");
    out.put_text("><E:Body><b:");
    out.put_text(m.name.c_str());
    out.put_text(" xmlns:b=\"http://acme.example/bulk\">");
    static_cast<void>(_SOAP_NamedValue("values", value).write(out));
    out.put_text("</b:");
    out.put_text(m.name.c_str());
    out.put_text("></E:Body></E:Envelope>");
}

void write_passes(const Measurement& m, const _Caldane_TxType& value) {
    std::string memory(120'000'000, ' ');
    std::size_t length = 0;
    measure(m.passes, [&] {
        length = 0;
        CHttpMessage message(HTTP_CLIENT_SIDE);
        message.SetMethod("POST");
        message.SetPath("x");
        _SOAP_OutStream out;
        out.attach(&message, kVqNoSocket, nullptr);
        out.set_rpc_encoding(m.encoded);
        out.open_body_over(std::make_unique<FixedSink>(memory, length));
        put_envelope(out, m, _Caldane_AnyConstRef(value));
        out.close_body();
        return length > 0;
    });
    const std::string_view wire(memory.data(), length);
    const std::string_view body = wire.substr(wire.find("\r\n\r\n") + 4);
    std::ofstream(m.document, std::ios::binary).write(body.data(), static_cast<std::streamsize>(body.size()));
}

template <class Value>
void read_passes(const Measurement& m, const Value& expected) {
    const std::string body = contents_of(m.document);
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    bool same = false;
    measure(m.passes, [&] {
        CHttpMessage message(HTTP_CLIENT_SIDE);
        _SOAP_InStream in;
        Value value;
        in.attach(&message, kVqNoSocket, nullptr);
        const bool good = in.open_envelope_from(std::make_unique<TextSource>(head, body)) != 0 &&
                          in.open_result() != 0 && in.demarshal(value) != _Caldane_FALSE &&
                          in.close_result() != 0 && in.close_envelope() != 0;
        if (!same) same = good && value == expected;
        return good && same;
    });
}

template <class Value>
void run(const Measurement& m, const Value& value) {
    if (m.write) {
        write_passes(m, value);
    } else {
        read_passes(m, value);
    }
}

template <class Sequence, class At>
Sequence made(int count, At at) {
    Sequence values;
    values.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) values.push_back(at(i));
    return values;
}

Sample sample_at(int i) {
    Sample sample;
    sample.name = _Caldane_String(name_at(i).c_str());
    sample.number = i;
    sample.measure = measure_at(i);
    return sample;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 64;
    const Measurement m{argv[1], std::string_view(argv[2]) == "write", std::string_view(argv[3]) == "encoded",
                        argv[4], std::atoi(argv[5])};
    if (m.name == "longs") run(m, made<Longs>(kLongs, &long_at));
    if (m.name == "doubles") run(m, made<Doubles>(kDoubles, &double_at));
    if (m.name == "samples") run(m, made<Samples>(kSamples, &sample_at));
    if (m.name == "text") run(m, _Caldane_String(long_text().c_str()));
    if (m.name == "octets") run(m, made<Octets>(kBytes, &octet_at));
    return 0;
}
