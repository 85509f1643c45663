// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/invoke.h>

#include <cstdint>
#include <string>

#include "addressing/soap_profile.h"
#include "addressing/soap_profile_factory.h"
#include "addressing/url.h"
#include "client/soap_client.h"

namespace soap_test {

/// Gives the broker clients for URLs and for stored bodies, as the library's own info object does; it stands
/// in its place so that the client is tested without a server.
class ClientTransport final : public _Caldane_Transport_Info {
public:
    _IOP_Profile bind_profile(const _Caldane_Object& object, std::int32_t) override {
        const _IOP_IOR* const ior = object._ior();
        _IOP_Profile profile;
        UrlParts parts;
        for (_IOP_ProfileIter entries = ior->profiles(); entries.current(profile); entries.next()) {
            _SOAP_Profile* const own = _SOAP_Profile::narrow(profile);
            if (own == nullptr || !split_url(own->data().view(), parts)) continue;
            if (own->binding() == nullptr) own->set_binding(made(parts));
            return profile;
        }
        if (ior->url().is_null() || !split_url(ior->url().view(), parts)) return _IOP_Profile();
        return _SOAP_Profile::make_profile(parts.path, parts.authority, parts.host, parts.port, made(parts),
                                           TAG_INTERNET_SOAP_DOC);
    }
    const _Caldane_String& transport_name() override { return name; }
    _Caldane_CallInfo& default_call_info() override { return info; }
    _Caldane_Transport_RPC_Server* server() override { return nullptr; }
    void ignored_notification(std::int32_t) override {}

    /// The last one made; the broker's.
    static inline _SOAP_Transport_Client* newest = nullptr;

private:
    static _SOAP_Transport_Client* made(const UrlParts& parts) {
        return newest = new _SOAP_Transport_Client(parts.authority);
    }

    _Caldane_String name = "client only";
    _Caldane_CallInfo info;
};

/// The broker with that transport, for as long as it lives.
class ClientBroker {
public:
    ClientBroker() {
        soap_binding_stage(Caldane::STAGE_INIT);
        soap_profile_factory_stage(Caldane::STAGE_INIT);
    }
    ~ClientBroker() {
        soap_profile_factory_stage(Caldane::STAGE_SHUTDOWN);
        soap_binding_stage(Caldane::STAGE_SHUTDOWN);
    }

private:
    _Caldane_Transport_Info::Registration registration{new ClientTransport};
};

/// Sets a property for its lifetime.
class WithProperty {
public:
    WithProperty(const char* property, const std::string& value) : name(property) {
        SOA::getProperties().set(name, value);
    }
    ~WithProperty() { SOA::getProperties().remove(name); }
    WithProperty(const WithProperty&) = delete;
    WithProperty& operator=(const WithProperty&) = delete;

private:
    const char* name;
};

inline _Caldane_Object object_at(const std::string& url) {
    return _Caldane_Object(_IOP_IOR::from_url(url));
}

/// An object whose reference holds the URL as a stored profile body.
inline _Caldane_Object object_of_profile(const std::string& url) {
    _IOP_ProfileList list;
    list.append(_IOP_Profile(TAG_INTERNET_SOAP_DOC, _IOP_OctetSeq(_Caldane_String(url))));
    return _Caldane_Object(_IOP_IOR::generate("IDL:T:1.0", list));
}

/// long count(in long number)
inline std::int32_t count(const _Caldane_Object& object, std::int32_t number) {
    static const Caldane::Operation operation("count", "IDL:T:1.0");
    return Caldane::call<std::int32_t>(object, operation, Caldane::in("number", number));
}

/// oneway void note(in long number)
inline void note(const _Caldane_Object& object, std::int32_t number) {
    static const Caldane::Operation operation("note", "IDL:T:1.0", {}, Caldane::Operation::ONE_WAY);
    Caldane::call<void>(object, operation, Caldane::in("number", number));
}

inline std::string soap_body(const std::string& content) {
    return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\"><e:Body>" + content +
           "</e:Body></e:Envelope>";
}

inline std::string http_answer(const std::string& body, const std::string& status = "200 OK",
                               const std::string& headers = "") {
    return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

/// What a good server answers to `count`.
inline std::string counted(std::int32_t number, const std::string& headers = "") {
    return http_answer(soap_body("<r><return>" + std::to_string(number) + "</return></r>"), "200 OK",
                       headers);
}

/// The number in a request of `count` or `note`.
inline std::int32_t number_in(const std::string& request) {
    const std::size_t at = request.find("<number>");
    return at == std::string::npos ? -1 : std::atoi(request.c_str() + at + 8);
}

}  // namespace soap_test
