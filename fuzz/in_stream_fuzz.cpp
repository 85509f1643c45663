// SPDX-License-Identifier: MIT

// Any text as the elements of a value with a member of every kind. The first byte says in which mode and in
// which kind of text it is read, and in what pieces it arrives.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "encoder/soap_named_value.h"
#include "support/piecewise_stream.h"
#include "support/soap_text.h"
#include "unit/marshal/shapes.h"
#include "xml/pull_parser_exception.h"
#include "xml/utf8_text.h"

namespace {

using namespace shapes;
using soap_test::SoapReader;
using soap_test::SoapWriter;

/// What `Mixed` has not: levels, bounds, types and references as values, the simple types of XML Schema.
class Everything final : public _Caldane_Struct<Everything> {
public:
    using Row = _Caldane_Array<_Caldane_Long, 2>;

    Mixed mixed;
    Node node;
    Numbered numbered;
    _Caldane_Sequence<_Caldane_Sequence<_Caldane_Long>> rows;
    _Caldane_Sequence<_Caldane_Sequence<_Caldane_Sequence<unsigned char>>> cubes;
    _Caldane_Array<Row, 2> table;
    _Caldane_Sequence<_Caldane_Any> anys;
    _Caldane_Sequence<_Caldane_String, 2> few;
    _Caldane_Sequence<unsigned char, 3> few_octets;
    _Caldane_Sequence<_Caldane_TypeRef> types;
    _Caldane_Sequence<Choice> choices;
    _Caldane_Array<unsigned char, 3> three_octets;
    Base64Binary base64;
    HexBinary hex;
    DateTime date;
    Decimal decimal;
    _Caldane_Object object;
    static const _Caldane_StructInfo& _info() {
        static constexpr _Caldane_Member kMembers[] = {
            _Caldane_member<&Everything::mixed>("mixed"), _Caldane_member<&Everything::node>("node"),
            _Caldane_member<&Everything::numbered>("numbered"), _Caldane_member<&Everything::rows>("rows"),
            _Caldane_member<&Everything::cubes>("cubes"), _Caldane_member<&Everything::table>("table"),
            _Caldane_member<&Everything::anys>("anys"), _Caldane_member<&Everything::few>("few"),
            _Caldane_member<&Everything::few_octets>("few_octets"),
            _Caldane_member<&Everything::types>("types"), _Caldane_member<&Everything::choices>("choices"),
            _Caldane_member<&Everything::three_octets>("three_octets"),
            _Caldane_member<&Everything::base64>("base64"), _Caldane_member<&Everything::hex>("hex"),
            _Caldane_member<&Everything::date>("date"), _Caldane_member<&Everything::decimal>("decimal"),
            // A reference has no element of its own name: its own two are what a reader meets.
            _Caldane_member<&Everything::object>("type_id")};
        static constexpr _Caldane_StructInfo kInfo{{"IDL:f/Everything:1.0", "Everything", "urn:f"}, kMembers};
        return kInfo;
    }
};

const _Caldane_TypeRegistration kRegistered(Point::_type(), Node::_type(), Choice::_type());

/// How one input is read.
struct Mode {
    bool encoded;
    int step;
};

/// What one reading gave: the value, or none where the reader refused it or the text was no XML.
std::optional<Everything> read(std::string_view elements, const Mode& mode) {
    const std::string body = SoapReader::envelope("<v>" + std::string(elements) + "</v>", mode.encoded);
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    SoapReader reader;
    Everything value;
    try {
        if (reader.in.open_envelope_from(std::make_unique<PiecewiseInputStream>(head + body, mode.step)) != 1)
            return std::nullopt;
        if (reader.in.open_result() != 1) return std::nullopt;
        if (reader.in.demarshal(static_cast<_Caldane_TxType&>(value)) == _Caldane_FALSE) return std::nullopt;
    } catch (const CXmlPullParserException&) {
        return std::nullopt;
    }
    return value;
}

/// The members of the value as text; none where a text is not one.
std::optional<std::string> written(const Everything& value, bool encoded) {
    SoapWriter writer(encoded);
    writer.out.marshal(static_cast<const _Caldane_TxType&>(value));
    if (writer.out.text_refused()) return std::nullopt;
    return writer.body();
}

/// False where a number in it is none.
bool is_itself(const std::optional<Everything>& value) {
    return value && *value == *value;
}

/// Sends the value over the wire and back until nothing changes any more: marks and numbers that the wire
/// cannot tell are lost by then.
void go_round(Everything value, const Mode& mode) {
    constexpr int kTrips = 4;
    for (int trip = 0; trip < kTrips; ++trip) {
        const std::optional<std::string> text = written(value, mode.encoded);
        if (!text) return;
        const std::optional<Everything> back = read(*text, mode);
        if (!is_itself(back) || *back == value) return;
        value = *back;
    }
    __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const bool utf8 = (data[0] & 0x40) != 0;
    const Mode mode{(data[0] & 0x80) != 0, 1 + (data[0] & 0x3F)};
    const std::string_view elements(reinterpret_cast<const char*>(data) + 1, size - 1);
    if (utf8) {
        SOA::getProperties().set("SOAP_UTF8_TEXT", "");
    } else {
        SOA::getProperties().remove("SOAP_UTF8_TEXT");
    }
    const std::optional<Everything> value = read(elements, mode);
    // In what pieces it came makes no difference, but for what is no UTF-8 and not checked.
    const bool regular = utf8 || check_utf8(elements.data(), elements.size()).fault == TextFault::none;
    if (!regular) return 0;
    const std::optional<Everything> whole = read(elements, {mode.encoded, 1 << 20});
    if (value.has_value() != whole.has_value()) __builtin_trap();
    if (!is_itself(value)) return 0;
    if (!(*value == *whole)) __builtin_trap();
    if (utf8) go_round(*value, mode);
    return 0;
}
