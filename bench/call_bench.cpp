// SPDX-License-Identifier: MIT
// The work of one small call on the server, from memory to memory: HTTP head, request envelope and arguments
// are read, a reply with a small struct is written, head included. No socket, no dispatching.

#include <benchmark/benchmark.h>
#include <caldane/values.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "encoder/soap_reply_writer.h"
#include "http/http_message.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "streams/stream.h"

namespace {

class TextSource final : public CInputStream {
public:
    explicit TextSource(const std::string& from) : text(from) {}
    int get() override { return at < text.size() ? static_cast<unsigned char>(text[at++]) : -1; }
    int read(char* buffer, int length) override {
        const std::size_t now = std::min(static_cast<std::size_t>(length), text.size() - at);
        std::memcpy(buffer, text.data() + at, now);
        at += now;
        return static_cast<int>(now);
    }
    int available() override { return -1; }
    int status() override { return 0; }

private:
    const std::string& text;
    std::size_t at = 0;
};

class TextSink final : public COutputStream {
public:
    explicit TextSink(std::string& to) : text(to) {}
    int write(const char* data, int length) override {
        text.append(data, static_cast<std::size_t>(length));
        return length;
    }
    int put(char c) override { return write(&c, 1); }
    void flush() override {}
    void close() override {}
    int status() override { return 0; }

private:
    std::string& text;
};

class Mood final : public _Caldane_Enum<Mood> {
public:
    enum _Value : _Caldane_ULong { CALM, NERVOUS, ANGRY };
    Mood(_Value initial = CALM) : _Caldane_Enum(initial) {}
    static const _Caldane_EnumInfo& _info() {
        static constexpr std::string_view kMembers[] = {"CALM", "NERVOUS", "ANGRY"};
        static constexpr _Caldane_EnumInfo kInfo{
            {"IDL:Acme/Bank/Mood:1.0", "Mood", "http://acme.example/bank"}, kMembers};
        return kInfo;
    }
};

class Receipt final : public _Caldane_Struct<Receipt> {
public:
    _Caldane_String account;
    _Caldane_Long amount = 0;
    _Caldane_Long balance = 0;
    Mood mood;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {
            _Caldane_member<&Receipt::account>("account"), _Caldane_member<&Receipt::amount>("amount"),
            _Caldane_member<&Receipt::balance>("balance"), _Caldane_member<&Receipt::mood>("mood")};
        static constexpr _Caldane_StructInfo kInfo{
            {"IDL:Acme/Bank/Receipt:1.0", "Receipt", "http://acme.example/bank"}, kMembers};
        return kInfo;
    }
};

std::string request(bool encoded) {
    const std::string style = encoded
                                  ? " SOAP-ENV:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\""
                                    " xmlns:SOAP-ENC=\"http://schemas.xmlsoap.org/soap/encoding/\""
                                  : "";
    const auto element = [encoded](const char* name, const char* type, const char* text) {
        std::string made = std::string("\r\n<") + name;
        if (encoded) made += std::string(" xsi:type=\"") + type + "\"";
        return made + ">" + text + "</" + name + ">";
    };
    const std::string body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<SOAP-ENV:Envelope" + style +
                             " xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\""
                             " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" "
                             "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
                             " xmlns:bsi=\"http://bsi.example/schemas/imaging/con/bsi/workflow/2003/08/21\">"
                             "\r\n<SOAP-ENV:Body>\r\n<m:withdraw xmlns:m=\"IDL:Acme/Bank/Teller:1.0\">" +
                             element("account", "xsd:string", "alice") + element("amount", "xsd:int", "100") +
                             "\r\n</m:withdraw>\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n";
    return "POST /bank HTTP/1.0\r\nDate: Sun, 22 Nov 2026 23:00:00 GMT\r\nSOAPAction: \"withdraw\"\r\n"
           "Host: 127.0.0.1:8080\r\nConnection: Keep-Alive\r\nContent-Type: text/xml; charset=\"utf-8\"\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

bool serve(_SOAP_InStream& in, _SOAP_OutStream& out, const std::string& wire, std::string& reply) {
    CHttpMessage message(HTTP_SERVER_SIDE);
    in.attach(&message, kVqNoSocket, nullptr);
    if (in.open_envelope_from(std::make_unique<TextSource>(wire)) == 0 || in.open_result() == 0) return false;
    _Caldane_String account;
    _Caldane_Long amount = 0;
    Receipt receipt;
    _Caldane_Parameter result("", _Caldane_Parameter::OUT, _Caldane_AnyRef(receipt));
    _Caldane_Parameter parameters[] = {{"account", _Caldane_Parameter::IN, _Caldane_AnyRef(account)},
                                       {"amount", _Caldane_Parameter::IN, _Caldane_AnyRef(amount)}};
    _Caldane_ArgList args(parameters, 2, result);
    for (_Caldane_Parameter& parameter : parameters) {
        if (parameter.demarshal(in) == _Caldane_FALSE) return false;
    }
    if (in.close_result() == 0 || in.close_envelope() == 0) return false;
    receipt.account = account;
    receipt.amount = amount;
    receipt.balance = 9900;
    message.AddResponseHeader("Content-Type", "text/xml; charset=\"utf-8\"");
    out.attach(&message, kVqNoSocket, nullptr);
    out.set_rpc_encoding(in.rpc_encoding());
    reply.clear();
    out.open_body_over(std::make_unique<TextSink>(reply));
    _Caldane_CallInfo info;
    static const _Caldane_String kOper("withdraw");
    static const _Caldane_String kNamespace("IDL:Acme/Bank/Teller:1.0");
    const bool written = _SOAP_ReplyWriter(kOper, kNamespace, &args, &info).write(out) != 0;
    out.close_body();
    in.release();
    return written;
}

void small_call(benchmark::State& state) {
    const std::string wire = request(state.range(0) != 0);
    std::string reply;
    for (auto _ : state) {
        _SOAP_InStream in;
        _SOAP_OutStream out;
        if (!serve(in, out, wire, reply)) state.SkipWithError("the call failed");
    }
    if (reply.find("<balance") == std::string::npos) state.SkipWithError("the reply holds no receipt");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * (wire.size() + reply.size())));
}

BENCHMARK(small_call)->ArgName("encoded")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
