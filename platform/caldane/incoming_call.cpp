// SPDX-License-Identifier: MIT
#include <caldane/calls.h>
#include <caldane/exceptions.h>
#include <caldane/servant.h>
#include <caldane/soa.h>
#include <caldane/transport.h>

#include "object_adapter.h"
#include "xml_text.h"

namespace {

/// Names from the network appear in messages only up to here.
constexpr std::size_t kShownName = 200;

std::string quoted(const _Caldane_String& name) {
    return "'" + xml_safe(std::string_view(name), kShownName) + "'";
}

/// The last component of an exception's repository id: what the message says where the servant gave none.
std::string short_name(const _Caldane_ExceptionBase& exception) {
    std::string id(std::string_view(exception.repository_id()));
    const std::size_t version = id.rfind(':');
    if (version != std::string::npos) id.resize(version);
    return id.substr(id.find_last_of(":/") + 1);
}

/// The way of one call between the transport's frame and a skeleton.
class FramedRequest final : public Caldane::IncomingRequest {
public:
    FramedRequest(_SOA_Call& framed_call, _Caldane_Transport_ServerFrame& call_frame)
        : call(framed_call), frame(call_frame) {}

    void fail(std::int32_t kind, const std::string& message) {
        _Caldane_SystemException exception(kind);
        exception._put_message(_Caldane_String(message));
        send(exception);
    }

    bool read(_Caldane_ArgList& args) override {
        if (frame.demarshal_args(call, args) != _Caldane_FALSE) return true;
        fail(_Caldane_SystemException::MARSHAL, "arguments of " + quoted(call.oper()) + " could not be read");
        return false;
    }

    bool run(void (*step)(void*), void* state) override {
        try {
            step(state);
            return true;
        } catch (_Caldane_ExceptionBase& exception) {
            answer(exception);
        } catch (...) {
            // What it was is for the server's own eyes.
            fail(_Caldane_SystemException::UNKNOWN,
                 "the operation " + quoted(call.oper()) + " failed in the server");
        }
        return false;
    }

    void reply(_Caldane_ArgList& args) override {
        const _Caldane_Context::Messages messages;
        replied = frame.marshal_reply(call, args) != _Caldane_FALSE;
    }

    Caldane::Raises declared;
    bool replied = false;

private:
    void send(_Caldane_ExceptionBase& exception) {
        const _Caldane_Context::Messages messages;
        frame.marshal_exception(call, exception);
    }

    void answer(_Caldane_ExceptionBase& exception) {
        for (std::size_t i = 0; i < declared.count; ++i) {
            if (!declared.table[i].matches(exception)) continue;
            const _Caldane_String own = exception.message_text();
            exception._put_message(
                _Caldane_String(own.empty() ? short_name(exception) : xml_safe(std::string_view(own))));
            send(exception);
            return;
        }
        fail(_Caldane_SystemException::UNKNOWN,
             "the operation " + quoted(call.oper()) + " failed with an exception that it does not declare");
    }

    _SOA_Call& call;
    _Caldane_Transport_ServerFrame& frame;
};

/// The servant is held no longer than this takes.
void serve(FramedRequest& request, const _Caldane_String& key, const _Caldane_String& oper) {
    const ServantTable::InCall in_call;
    const ServantTable::Held servant = ObjectAdapter::instance().find(std::string_view(key));
    if (servant == nullptr) {
        request.fail(_Caldane_SystemException::INV_OBJREF, "no object under the key " + quoted(key));
    } else if (const auto* operation = servant->_operations().find(std::string_view(oper))) {
        request.declared = operation->exceptions;
        operation->dispatch(*servant, request, *operation);
    } else {
        request.fail(_Caldane_SystemException::UNKNOWN, "the object has no operation " + quoted(oper));
    }
}

}  // namespace

_SOA_Call::~_SOA_Call() = default;

_SOA_IncomingCall::_SOA_IncomingCall(_Caldane_Transport_ServerFrame& frame, const _Caldane_String& target_key,
                                     const _Caldane_String&, const _Caldane_String& oper,
                                     const _Caldane_String&, const _Caldane_String& ns_name,
                                     _Caldane_CallInfo& info, _Caldane_ArgList*)
    : _SOA_Call(oper, ns_name, info), frame_(frame), target_key_(target_key) {}

_SOA_IncomingCall::~_SOA_IncomingCall() = default;

_Caldane_Boolean _SOA_IncomingCall::invoke() {
    SOA::get_default_context().mark_received();  // the transport has read the request's header
    FramedRequest request(*this, frame_);
    serve(request, target_key_, oper());
    frame_.finished(*this);
    return static_cast<_Caldane_Boolean>(request.replied);
}
