// SPDX-License-Identifier: MIT
#include "encoder/soap_reply_writer.h"

#include <string>

#include "encoder/envelope_text.h"
#include "encoder/soap_named_value.h"
#include "marshal/soap_out_stream.h"

namespace {

constexpr char kSuffix[] = "Response";

}  // namespace

_SOAP_ReplyWriter::_SOAP_ReplyWriter(const _Caldane_String& operation, const _Caldane_String& namespace_uri,
                                     _Caldane_ArgList* arguments, _Caldane_CallInfo* call_info)
    : ns_name(namespace_uri), oper(operation), args(arguments), info(call_info) {}

int _SOAP_ReplyWriter::write(_SOAP_OutStream& out) {
    envelope_text::put_head(out);
    if (!envelope_text::put_header_block(out, true)) return 0;
    envelope_text::put_body_start(out);
    envelope_text::put_operation_start(out, oper, kSuffix, ns_name);
    if (!write_values(out)) return 0;
    envelope_text::put_operation_end(out, oper, kSuffix);
    envelope_text::put_tail(out);
    return 1;
}

bool _SOAP_ReplyWriter::write_values(_SOAP_OutStream& out) {
    if (_SOAP_NamedValue("return", args->result().value()).write(out) == _Caldane_FALSE) return false;
    std::string name;
    const auto count = args->count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        _Caldane_Parameter& parameter = args->parameter(i);
        const std::int32_t direction = parameter.direction();
        if (direction != _Caldane_Parameter::OUT && direction != _Caldane_Parameter::INOUT) continue;
        name.assign("m:").append(parameter.name_text());
        if (_SOAP_NamedValue(name.c_str(), parameter.value()).write(out) == _Caldane_FALSE) return false;
    }
    return true;
}
