// SPDX-License-Identifier: MIT
#pragma once

#include "interop.h"

/// Gives back what it gets; the comments of interop.idl tell the exceptions from that.
class InteropTestImpl final : public SOAPInterop::POA_InteropTest {
public:
    _Caldane_String echoString(const _Caldane_String& text) override { return text; }
    SOAPInterop::ArrayOfstring echoStringArray(const SOAPInterop::ArrayOfstring& texts) override {
        return texts;
    }
    std::int32_t echoInteger(std::int32_t number) override { return number; }
    SOAPInterop::ArrayOfint echoIntegerArray(const SOAPInterop::ArrayOfint& numbers) override {
        return numbers;
    }
    float echoFloat(float number) override { return number; }
    SOAPInterop::ArrayOffloat echoFloatArray(const SOAPInterop::ArrayOffloat& numbers) override {
        return numbers;
    }
    SOAPInterop::SOAPStruct echoStruct(const SOAPInterop::SOAPStruct& value) override { return value; }
    SOAPInterop::ArrayOfSOAPStruct echoStructArray(const SOAPInterop::ArrayOfSOAPStruct& values) override {
        return values;
    }
    void echoVoid() override {}
    xsd::base64Binary echoBase64(const xsd::base64Binary& bytes) override { return bytes; }
    xsd::hexBinary echoHexBinary(const xsd::hexBinary& bytes) override { return bytes; }
    xsd::dateTime echoDate(const xsd::dateTime& time) override { return time; }
    xsd::decimal echoDecimal(const xsd::decimal& number) override { return number; }
    bool echoBoolean(bool flag) override { return flag; }

    void echoStructAsSimpleTypes(const SOAPInterop::SOAPStruct& value, _Caldane_String& text,
                                 std::int32_t& number, float& fraction) override;
    SOAPInterop::SOAPStruct echoSimpleTypesAsStruct(const _Caldane_String& text, std::int32_t number,
                                                    float fraction) override;
    SOAPInterop::ArrayOfstring2D echo2DStringArray(const SOAPInterop::ArrayOfstring2D& texts) override {
        return texts;
    }
    SOAPInterop::SOAPStructStruct echoNestedStruct(const SOAPInterop::SOAPStructStruct& value) override {
        return value;
    }
    SOAPInterop::SOAPArrayStruct echoNestedArray(const SOAPInterop::SOAPArrayStruct& value) override {
        return value;
    }
    SOAPInterop::ArrayOfstring2D echoStringArrayArray(const SOAPInterop::ArrayOfstring2D& texts) override {
        return texts;
    }
    std::int16_t echoShort(std::int16_t number) override { return number; }
    std::uint32_t echoUnsignedInt(std::uint32_t number) override { return number; }
    double echoDouble(double number) override { return number; }
    SOAPInterop::Color echoEnum(const SOAPInterop::Color& color) override { return color; }
    _Caldane_String echoInOut(_Caldane_String& text, std::int32_t number, std::int32_t& twice) override;
    _Caldane_String raiseFault(const _Caldane_String& reason) override;
};
