// SPDX-License-Identifier: MIT
#include "client/request_envelope.h"

#include "encoder/envelope_text.h"
#include "encoder/soap_named_value.h"
#include "marshal/soap_out_stream.h"

int write_envelope(_SOAP_OutStream& out, const _Caldane_String& intf_id, const _Caldane_String& oper,
                   _Caldane_ArgList& args) {
    out.open_body();
    envelope_text::put_head(out);
    if (!envelope_text::put_header_block(out, false)) return 0;
    envelope_text::put_body_start(out);
    envelope_text::put_operation_start(out, oper, "", intf_id);
    const _Caldane_ULong count = args.count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        const _Caldane_Parameter& parameter = args.parameter(i);
        const std::int32_t direction = parameter.direction();
        if (direction != _Caldane_Parameter::IN && direction != _Caldane_Parameter::INOUT) continue;
        const _Caldane_String name = parameter.name();
        _SOAP_NamedValue element(name.c_str(), parameter.value());
        if (!element.write(out)) return 0;
    }
    envelope_text::put_operation_end(out, oper, "");
    envelope_text::put_tail(out);
    return 1;
}
