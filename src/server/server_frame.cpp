// SPDX-License-Identifier: MIT
#include "server/server_frame.h"

#include "encoder/soap_reply_writer.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"
#include "server/fault_envelope.h"

namespace {

constexpr char kBadText[] =
    "the reply holds text that is not UTF-8 made of characters of XML, as SOAP_UTF8_TEXT asks for";

_Caldane_Boolean truth(bool value) {
    return value ? _Caldane_TRUE : _Caldane_FALSE;
}

}  // namespace

_Caldane_Boolean _SOAP_ServerFrame::demarshal_args(_SOA_Call&, _Caldane_ArgList& args) {
    const _Caldane_ULong count = args.count();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        _Caldane_Parameter& parameter = args.parameter(i);
        const std::int32_t direction = parameter.direction();
        if (direction != _Caldane_Parameter::IN && direction != _Caldane_Parameter::INOUT) continue;
        if (!parameter.demarshal(in_stream)) return _Caldane_FALSE;
    }
    request_read = in_stream.close_result() != 0 && in_stream.close_envelope() != 0;
    return truth(request_read);
}

_Caldane_Boolean _SOAP_ServerFrame::marshal_reply(_SOA_Call& call, _Caldane_ArgList& args) {
    out_stream.open_body();
    out_stream.set_rpc_encoding(in_stream.rpc_encoding());
    _SOAP_ReplyWriter writer(call.oper(), call.ns_name(), &args, &call.info());
    bool written = writer.write(out_stream) != 0 && !out_stream.body_lost() && !out_stream.text_refused();
    const bool bad_text = out_stream.text_refused();
    // Nothing has left yet, so that the client gets the fault alone. What cannot be taken back is not added
    // to.
    if (!written && out_stream.discard()) {
        written = write_marshal_fault(FAULT_CLIENT, bad_text ? kBadText : "the reply could not be written");
    }
    out_stream.close_body();
    return truth(written);
}

bool _SOAP_ServerFrame::write_marshal_fault(int fault_class, const char* message) {
    _Caldane_SystemException exception(_Caldane_SystemException::MARSHAL);
    exception.completed(1);
    exception._put_message(_Caldane_String(message));
    return write_fault(out_stream, fault_class, &exception);
}

_Caldane_Boolean _SOAP_ServerFrame::marshal_exception(_SOA_Call&, _Caldane_ExceptionBase& exception) {
    if (drain_limit > 0 && !request_read) request_read = in_stream.drained(drain_limit);
    out_stream.open_body();
    out_stream.set_rpc_encoding(in_stream.rpc_encoding());
    bool written = write_fault(out_stream, FAULT_SERVER, &exception);
    if (out_stream.text_refused() && out_stream.discard())
        written = write_marshal_fault(FAULT_SERVER, kBadText);
    out_stream.close_body();
    return truth(written);
}
