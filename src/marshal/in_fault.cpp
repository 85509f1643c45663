// SPDX-License-Identifier: MIT
#include <memory>

#include "marshal/names.h"
#include "marshal/soap_in_stream.h"

using marshal_names::in_envelope_namespace;
using marshal_names::same;

namespace {

constexpr auto kCopied = Caldane::OWNERSHIP_COPY;
constexpr auto kHandedOver = Caldane::OWNERSHIP_TAKE;
constexpr int kUserException = 1;

}  // namespace

/// What a `Fault` brought so far.
struct _SOAP_InStream::Fault {
    bool begun = false;
    bool saw_code = false;
    bool saw_text = false;
    _Caldane_String code;
    _Caldane_String text;
    std::unique_ptr<_Caldane_ExceptionBase> exception;
};

int _SOAP_InStream::read_fault(_Caldane_CallInfo& info) {
    _Caldane_CallException* holder = _Caldane_CallException::lookup_or_add(info);
    if (holder == nullptr) return 0;
    if (parser->peekEvent() == START_TAG && !same(parser->getName(), "Fault")) return 0;
    Fault fault;
    if (!read_fault_elements(fault, *holder) || !fault.saw_code || !fault.saw_text) return 0;
    if (!fault.exception)
        fault.exception.reset(new _Caldane_SystemException(_Caldane_SystemException::UNKNOWN));
    if (!fault.exception) return 0;
    fault.exception->_put_message(fault.text);
    holder->exception(fault.exception.release(), kHandedOver);
    return 1;
}

/// Reads to the end tag of `Fault`, in whatever namespace; false when the input ends before.
bool _SOAP_InStream::read_fault_elements(Fault& fault, _Caldane_CallException& holder) {
    for (;;) {
        const int event = parser->next();
        if (event == XML_END_DOCUMENT) return false;
        if (event == XML_END_TAG && same(parser->getName(), "Fault")) return true;
        if (event == START_TAG) read_fault_element(fault, holder);
    }
}

void _SOAP_InStream::read_fault_element(Fault& fault, _Caldane_CallException& holder) {
    const CRefString name = parser->getName();
    if (same(name, "Fault") && in_envelope_namespace(*parser)) {
        fault.begun = true;
    } else if (!fault.begun) {
        return;
    } else if (same(name, "faultcode")) {
        fault.saw_code = true;
        demarshal_string_value(fault.code);
    } else if (same(name, "faultstring")) {
        fault.saw_text = true;
        demarshal_string_value(fault.text);
    } else if (same(name, "detail")) {
        read_fault_detail(fault, holder);
    }
}

/// The first child's name and namespace tell which of the exceptions that the call declares has come.
void _SOAP_InStream::read_fault_detail(Fault& fault, _Caldane_CallException& holder) {
    parser->next();
    const _Caldane_String name(parser->getName().c_str(), -1, kCopied);
    // An element without a namespace of its own shows that of the envelope around it.
    const CRefString shown = in_envelope_namespace(*parser) ? CRefString() : parser->getNamespace();
    const _Caldane_String uri(shown.c_str(), -1, kCopied);
    fault.exception.reset(holder.find_exception(uri, name, kUserException));
    if (fault.exception && fault.exception->_demarshal(*this) == _Caldane_FALSE)
        holder.exception(_Caldane_SystemException(_Caldane_SystemException::BAD_RESPONSE), kCopied);
}
