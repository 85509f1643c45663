// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/arg_list.h>
#include <caldane/boolean.h>
#include <caldane/call_info.h>
#include <caldane/context.h>
#include <caldane/object.h>
#include <caldane/string.h>

class _Caldane_Transport_ServerFrame;

/// A call on its way out, as a transport's client gets it. Refers to what its maker holds for the call; is
/// made and carried on one thread.
class _Caldane_OutboundCall {
public:
    _Caldane_OutboundCall(_Caldane_CallInfo& info, const _Caldane_Object& target, _Caldane_ArgList& args,
                          const _Caldane_String& oper, const _Caldane_String& intf_id)
        : info_(info), target_(target), args_(args), oper_(oper), intf_id_(intf_id) {}

    _Caldane_CallInfo& info() const { return info_; }
    const _Caldane_Object& target() const { return target_; }
    _Caldane_ArgList& args() const { return args_; }
    const _Caldane_String& oper() const { return oper_; }
    /// The repository id of the interface.
    const _Caldane_String& intf_id() const { return intf_id_; }

private:
    _Caldane_CallInfo& info_;
    const _Caldane_Object& target_;
    _Caldane_ArgList& args_;
    const _Caldane_String& oper_;
    const _Caldane_String& intf_id_;
    const _Caldane_Context::Messages messages_;
};

/// A call that a servant is to answer.
class _SOA_Call {
public:
    _SOA_Call(const _SOA_Call&) = delete;
    _SOA_Call& operator=(const _SOA_Call&) = delete;
    virtual ~_SOA_Call();

    /// Does the whole call: finds the servant, has the arguments read, calls, has reply or exception written.
    /// True when the servant's operation was called and its reply went out.
    virtual _Caldane_Boolean invoke() = 0;

    const _Caldane_String& oper() const { return oper_; }
    const _Caldane_String& ns_name() const { return ns_name_; }
    _Caldane_CallInfo& info() const { return info_; }

protected:
    _SOA_Call(const _Caldane_String& oper, const _Caldane_String& ns_name, _Caldane_CallInfo& info)
        : oper_(oper), ns_name_(ns_name), info_(info) {}

private:
    _Caldane_String oper_;
    _Caldane_String ns_name_;
    _Caldane_CallInfo& info_;
};

/// A call that came in through a transport. Exceptions other than those of the transport itself stay inside
/// `invoke`: what the transport's frame throws passes through.
class _SOA_IncomingCall final : public _SOA_Call {
public:
    /// `frame` and `info` must outlive the call. `principal` is empty, `args` null: the operation's own
    /// argument list is made when the servant is known.
    _SOA_IncomingCall(_Caldane_Transport_ServerFrame& frame, const _Caldane_String& target_key,
                      const _Caldane_String& endpoint, const _Caldane_String& oper,
                      const _Caldane_String& principal, const _Caldane_String& ns_name,
                      _Caldane_CallInfo& info, _Caldane_ArgList* args);
    ~_SOA_IncomingCall() override;

    _Caldane_Boolean invoke() override;

private:
    _Caldane_Transport_ServerFrame& frame_;
    _Caldane_String target_key_;
};
