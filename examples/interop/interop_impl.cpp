// SPDX-License-Identifier: MIT
#include "interop_impl.h"

#include <string>

using namespace SOAPInterop;

void InteropTestImpl::echoStructAsSimpleTypes(const SOAPStruct& value, _Caldane_String& text,
                                              std::int32_t& number, float& fraction) {
    text = value.varString;
    number = value.varInt;
    fraction = value.varFloat;
}

SOAPStruct InteropTestImpl::echoSimpleTypesAsStruct(const _Caldane_String& text, std::int32_t number,
                                                    float fraction) {
    return {text, number, fraction};
}

_Caldane_String InteropTestImpl::echoInOut(_Caldane_String& text, std::int32_t number, std::int32_t& twice) {
    std::string upper(std::string_view{text});
    const std::string result = upper + "/" + std::to_string(number);
    for (char& byte : upper) {
        if (byte >= 'a' && byte <= 'z') byte = static_cast<char>(byte - 'a' + 'A');
    }
    text = upper;
    twice = static_cast<std::int32_t>(static_cast<std::uint32_t>(number) * 2U);
    return result;
}

_Caldane_String InteropTestImpl::raiseFault(const _Caldane_String& reason) {
    throw InteropFault(reason);
}
