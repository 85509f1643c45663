// SPDX-License-Identifier: MIT
#include <caldane/exceptions.h>

namespace {

const char* advice(std::int32_t kind) {
    switch (kind) {
        case _Caldane_SystemException::UNKNOWN:
            return "see the server's side for the cause";
        case _Caldane_SystemException::MARSHAL:
            return "check that both sides use the same interface";
        case _Caldane_SystemException::COMM_FAILURE:
            return "check that the server runs and the address is right";
        case _Caldane_SystemException::INV_OBJREF:
            return "check the URL, and that its transport is linked";
        case _Caldane_SystemException::NIL_OBJECT:
            return "get a reference before calling";
        case _Caldane_SystemException::BAD_RESPONSE:
            return "check that the URL leads to a SOAP server of this interface, and that it is up";
        case _Caldane_SystemException::HTTP_STATUS:
            return "check the path of the URL, and any proxy between";
        default:
            return "see the server's side for the cause";
    }
}

std::string text_of(std::int32_t kind, const std::string& message, const std::string& operation,
                    const std::string& endpoint) {
    std::string text = _Caldane_SystemException::kind_name(kind);
    text += " (" + std::to_string(kind) + ") in " + operation;
    if (!endpoint.empty()) text += " at " + endpoint;
    if (!message.empty()) text += ": " + message;
    return text + "; " + advice(kind);
}

}  // namespace

Caldane::SystemError::SystemError(std::int32_t kind, const std::string& message, const std::string& operation,
                                  const std::string& endpoint)
    : std::runtime_error(text_of(kind, message, operation, endpoint)),
      kind_(kind),
      message_(message),
      operation_(operation),
      endpoint_(endpoint) {}

const char* _Caldane_SystemException::kind_name(std::int32_t kind) {
    switch (kind) {
        case MARSHAL:
            return "MARSHAL";
        case COMM_FAILURE:
            return "COMM_FAILURE";
        case INV_OBJREF:
            return "INV_OBJREF";
        case NIL_OBJECT:
            return "NIL_OBJECT";
        case BAD_RESPONSE:
            return "BAD_RESPONSE";
        case HTTP_STATUS:
            return "HTTP_STATUS";
        default:
            return "UNKNOWN";
    }
}
