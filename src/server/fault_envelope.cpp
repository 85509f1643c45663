// SPDX-License-Identifier: MIT
#include "server/fault_envelope.h"

#include <algorithm>

#include "marshal/namespaces.h"
#include "marshal/soap_out_stream.h"
#include "transport/broker.h"

namespace {

constexpr std::int32_t kInternalServerError = 500;

bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool is_name_character(char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

/// The longest part that can be a name: begins with a letter and goes on with name characters.
std::string_view longest_name(std::string_view text) {
    std::string_view longest;
    for (std::size_t i = 0; i < text.size();) {
        if (!is_letter(text[i])) {
            ++i;
            continue;
        }
        std::size_t end = i;
        while (end < text.size() && is_name_character(text[end])) ++end;
        if (end - i > longest.size()) longest = text.substr(i, end - i);
        i = end;
    }
    return longest;
}

void put_namespace(_SOAP_OutStream& out, const char* name, const char* uri) {
    out.put_char(' ');
    out.put_text(name);
    out.put_text("=\"");
    out.put_text(uri);
    out.put_char('"');
}

void put_head(_SOAP_OutStream& out) {
    out.put_text("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\r\n<SOAP-ENV:Envelope");
    if (out.rpc_encoding()) {
        put_namespace(out, "SOAP-ENV:encodingStyle", NS_SOAP_ENC);
        put_namespace(out, "xmlns:SOAP-ENC", NS_SOAP_ENC);
    }
    put_namespace(out, "xmlns:SOAP-ENV", NS_SOAP_ENV);
    put_namespace(out, "xmlns:xsd", NS_XSD);
    put_namespace(out, "xmlns:xsi", NS_XSI);
    out.put_text(">\r\n<SOAP-ENV:Body>\r\n<SOAP-ENV:Fault>\r\n");
}

void put_exception(_SOAP_OutStream& out, const char* code, const _Caldane_ExceptionBase& exception) {
    const std::string element = fault_element_name(exception.repository_id().view());
    const std::string prefix = element.substr(0, element.find(':'));
    out.put_text("<faultcode>SOAP-ENV:");
    out.put_text(code);
    out.put_text("</faultcode>\r\n<faultstring>");
    out.put_string(exception.message_text());
    out.put_text("</faultstring>\r\n<detail>\r\n<");
    out.put_text(element.c_str());
    out.put_text(" xmlns:");
    out.put_text(prefix.c_str());
    out.put_text("=\"");
    out.put_value(exception.namespace_text());
    out.put_text("\">");
    static_cast<void>(out.marshal(exception));
    out.put_text("\r\n</");
    out.put_text(element.c_str());
    out.put_text(">\r\n</detail>");
}

}  // namespace

std::string fault_element_name(std::string_view repository_id) {
    const std::size_t first = repository_id.find(':');
    const std::size_t second =
        first == std::string_view::npos ? std::string_view::npos : repository_id.find(':', first + 1);
    if (second == std::string_view::npos) {
        const std::string_view name = longest_name(repository_id);
        return name.empty() ? "Exception" : std::string(name);
    }
    std::string name(repository_id.substr(first + 1, second - first - 1));
    std::replace(name.begin(), name.end(), '/', ':');
    return name;
}

bool write_fault(_SOAP_OutStream& out, int fault_class, const _Caldane_ExceptionBase* exception) {
    out.set_status(kInternalServerError);
    put_head(out);
    switch (fault_class) {
        case FAULT_VERSION_MISMATCH:
            out.put_text(
                "<faultcode>SOAP-ENV:VersionMismatch</faultcode>\r\n"
                "<faultstring>SOAP Version Mismatch Error</faultstring>");
            break;
        case FAULT_MUST_UNDERSTAND:
            out.put_text(
                "<faultcode>SOAP-ENV:MustUnderstand</faultcode>\r\n"
                "<faultstring>SOAP Must Understand Error</faultstring>");
            break;
        default:
            put_exception(out, fault_class == FAULT_CLIENT ? "Client" : "Server", *exception);
    }
    out.put_text("\r\n</SOAP-ENV:Fault>\r\n</SOAP-ENV:Body>\r\n</SOAP-ENV:Envelope>\r\n\r\n");
    return true;
}
