// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <new>

#include "http/http_message.h"
#include "marshal/names.h"
#include "marshal/namespaces.h"
#include "marshal/number_text.h"
#include "marshal/soap_in_stream.h"
#include "marshal/text_mode.h"
#include "settings/settings.h"
#include "streams/socket_streams.h"

using marshal_names::in_envelope_namespace;
using marshal_names::same;

long long max_body() {
    constexpr long long kDefaultMaxBody = 256LL << 20;
    const char* text = SOA::getProperties().get("SOAP_MAX_BODY");
    if (text == nullptr || *text == '\0') return kDefaultMaxBody;
    const long long bytes = integer_in(text);
    return bytes < 0 ? kDefaultMaxBody : bytes;
}

namespace {

XmlLimits xml_limits() {
    return {static_cast<int>(setting("SOAP_MAX_DEPTH").number()),
            static_cast<int>(setting("SOAP_MAX_ATTRIBUTES").number())};
}

}  // namespace

_SOAP_InStream::_SOAP_InStream() = default;

_SOAP_InStream::~_SOAP_InStream() {
    release();
}

int _SOAP_InStream::attach(CHttpMessage* http_message, vqSocket connection, CSecureChannel* secure_channel) {
    release();
    message = http_message;
    socket = connection;
    channel = secure_channel;
    return 1;
}

void _SOAP_InStream::release() {
    parser.reset();
    body_reader.reset();
    socket_in.reset();
    text_ = CRefString();
    operation_name_ = CRefString();
    operation_namespace_ = CRefString();
    depth_ = 0;
    anys_ = 0;
    unsent_ = 0;
}

bool _SOAP_InStream::drained(long limit) {
    return body_reader && body_reader->drain(limit);
}

int _SOAP_InStream::open_envelope() {
    return open_envelope_from(std::unique_ptr<CInputStream>(new CSocketInputStream(socket, channel)));
}

int _SOAP_InStream::open_envelope_from(std::unique_ptr<CInputStream> source) {
    release();
    if (!source) return 0;
    socket_in = std::move(source);
    message->SetMaxBody(max_body());
    body_reader.reset(message->OpenBodyReader(socket_in.get(), 0));
    if (!body_reader) {
        socket_in.reset();
        return 0;
    }
    utf8_text_ = text_is_utf8();
    parser.reset(
        new CXmlPullParser(body_reader.get(), utf8_text_ ? XmlText::utf8 : XmlText::one_byte, xml_limits()));
    if (!parser) return 0;
    parser->setProcessNamespaces();
    return to_body();
}

/// Reads up to and with the start tag of `Body`; whatever else stands before it is stepped over.
int _SOAP_InStream::to_body() {
    bool saw_envelope = false;
    bool saw_body = false;
    while (!saw_envelope || !saw_body) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return 0;
        if (event != START_TAG || !in_envelope_namespace(*parser)) continue;
        const CRefString name = parser->getName();
        if (same(name, "Envelope")) {
            saw_envelope = true;
            read_encoding_style();
        } else if (same(name, "Header")) {
            read_header();
        } else if (same(name, "Body")) {
            saw_body = true;
            read_encoding_style();
        }
    }
    return 1;
}

void _SOAP_InStream::read_encoding_style() {
    const int count = parser->getAttributeCount();
    for (int i = 0; i < count; ++i) {
        if (!same(parser->getAttributeName(i), "encodingStyle")) continue;
        rpc_encoding_ = same(parser->getAttributeValue(i), NS_SOAP_ENC);
        return;
    }
}

int _SOAP_InStream::open_result() {
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return 0;
        if (event == START_TAG) break;
    }
    operation_name_ = parser->getName();
    operation_namespace_ = parser->getNamespace();
    read_encoding_style();
    return 1;
}

int _SOAP_InStream::close_result() {
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return 0;
        if (event == XML_END_TAG && parser->getName() == operation_name_ &&
            parser->getNamespace() == operation_namespace_)
            return 1;
    }
}

int _SOAP_InStream::close_envelope() {
    bool saw_envelope = false;
    bool saw_body = false;
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return saw_envelope && saw_body ? 1 : 0;
        if (event != XML_END_TAG || !in_envelope_namespace(*parser)) continue;
        const CRefString name = parser->getName();
        if (same(name, "Envelope")) saw_envelope = true;
        if (same(name, "Body")) saw_body = true;
    }
}
