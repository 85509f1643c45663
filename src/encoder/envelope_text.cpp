// SPDX-License-Identifier: MIT
#include "encoder/envelope_text.h"

#include <memory>
#include <string>

#include "encoder/soap_named_value.h"
#include "marshal/namespaces.h"
#include "marshal/soap_out_stream.h"

namespace envelope_text {

namespace {

void add_attribute(std::string& text, const char* name, const char* uri) {
    text.append(" ").append(name).append("=\"").append(uri).append("\"");
}

std::string namespaces(bool encoded) {
    std::string text;
    if (encoded) {
        add_attribute(text, "SOAP-ENV:encodingStyle", NS_SOAP_ENC);
        add_attribute(text, "xmlns:SOAP-ENC", NS_SOAP_ENC);
    }
    add_attribute(text, "xmlns:SOAP-ENV", NS_SOAP_ENV);
    add_attribute(text, "xmlns:xsd", NS_XSD);
    add_attribute(text, "xmlns:xsi", NS_XSI);
    return text;
}

std::string head(bool encoded) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n\r\n<SOAP-ENV:Envelope";
    text += namespaces(encoded);
    add_attribute(text, "xmlns:bsi", NS_BSI);
    return text + '>';
}

void put(_SOAP_OutStream& out, const std::string& text) {
    out.put_bytes(text.data(), text.size());
}

}  // namespace

void put_namespaces(_SOAP_OutStream& out) {
    static const std::string kEncoded = namespaces(true);
    static const std::string kLiteral = namespaces(false);
    put(out, out.rpc_encoding() ? kEncoded : kLiteral);
}

void put_head(_SOAP_OutStream& out) {
    static const std::string kEncoded = head(true);
    static const std::string kLiteral = head(false);
    put(out, out.rpc_encoding() ? kEncoded : kLiteral);
}

bool put_header_block(_SOAP_OutStream& out, bool typed) {
    const std::unique_ptr<_Caldane_NVList> values(SOA::get_default_context().get_values("*"));
    if (!values) return false;
    if (values->count() == 0) return true;
    out.put_text("\r\n<SOAP-ENV:Header>");
    const _Caldane_ULong count = values->count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        _Caldane_NamedValue* entry = nullptr;
        values->item(i, entry);
        if (entry == nullptr) continue;
        _SOAP_NamedValue element(entry->name().c_str(), entry->value());
        element.typed = typed;
        if (element.write(out) == _Caldane_FALSE) return false;
    }
    out.put_text("\r\n</SOAP-ENV:Header>");
    return true;
}

void put_body_start(_SOAP_OutStream& out) {
    out.put_text("\r\n<SOAP-ENV:Body>");
}

void put_operation_start(_SOAP_OutStream& out, const _Caldane_String& operation, const char* suffix,
                         const _Caldane_String& namespace_uri) {
    out.put_text("\r\n<m:");
    out.put_string(operation);
    out.put_text(suffix);
    out.put_text(" xmlns:m=\"");
    out.put_value(namespace_uri);
    out.put_char('"');
    std::string property(operation.c_str(), operation.length());
    property += "_ATTRIBUTE";
    if (const char* attributes = SOA::getProperties().get(property)) {
        out.put_text("\r\n  ");
        out.put_text(attributes);
    }
    out.put_char('>');
}

void put_operation_end(_SOAP_OutStream& out, const _Caldane_String& operation, const char* suffix) {
    out.put_text("\r\n</m:");
    out.put_string(operation);
    out.put_text(suffix);
    out.put_char('>');
}

void put_tail(_SOAP_OutStream& out) {
    out.put_text("\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n");
}

}  // namespace envelope_text
