// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

#include "marshal/in_views.h"
#include "marshal/octets.h"
#include "marshal/xsd_streams.h"
#include "streams/hex.h"

namespace {

constexpr _Caldane_Boolean kFailed = _Caldane_FALSE;

_Caldane_Boolean outcome(bool good) {
    return _Caldane_Boolean(good ? 1 : 0);
}

}  // namespace

bool XsdInStream::to_text() {
    outer_parser->next();
    return outer_parser->next() == TEXT;
}

bool XsdInStream::at_end() {
    return outer_parser->next() == XML_END_TAG;
}

_Caldane_Boolean _SOAP_Base64InStream::demarshal(_Caldane_TxType& value) {
    auto& view = view_of<_Caldane_AddressableSequence>(value);
    view.length(0);
    if (!to_text()) return kFailed;
    return outcome(decode_base64(outer_parser->getText(), view) && at_end());
}

_Caldane_Boolean _SOAP_HexInStream::demarshal(_Caldane_TxType& value) {
    auto& view = view_of<_Caldane_AddressableSequence>(value);
    view.length(0);
    if (!to_text()) return kFailed;
    const CRefString text = outer_parser->getText();
    const auto count = static_cast<std::size_t>(text.length()) / 2;
    const OctetBuffer bytes = make_octets(count);
    if (!bytes) return kFailed;
    const char* digits = text.c_str();
    for (std::size_t i = 0; i < count; ++i, digits += 2)
        bytes[i] = static_cast<unsigned char>(16 * HexDigitValue(digits[0]) + HexDigitValue(digits[1]));
    if (view.bound() != 0 && count > view.bound()) return kFailed;
    if (view.length(static_cast<_Caldane_ULong>(count)) == _Caldane_FALSE) return kFailed;
    return outcome(store_octets(view, bytes.get(), count) && at_end());
}

namespace {

/// True when the zone's hours have a minus, which "-00:30" shows only in its text.
bool negative_zone(const char* text) {
    const char* time = std::strchr(text, 'T');
    return time != nullptr && std::strchr(time, '-') != nullptr;
}

/// Reads year to seconds, and the offset of the zone if there is one; false when one of the six is missing.
bool scan(const char* text, std::tm& parts, long long& zone_seconds) {
    int year = 0;
    int month = 0;
    int zone_hours = 0;
    int zone_minutes = 0;
    float seconds = 0;
    const int fields = std::sscanf(text, "%9d-%9d-%9dT%9d:%9d:%f%9d:%9d", &year, &month, &parts.tm_mday,
                                   &parts.tm_hour, &parts.tm_min, &seconds, &zone_hours, &zone_minutes);
    constexpr int kWithoutZone = 6;
    constexpr float kMostSeconds = 1e6F;
    if (fields < kWithoutZone || !(seconds >= 0 && seconds < kMostSeconds)) return false;
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_sec = static_cast<int>(seconds + 0.5F);
    // The sign stands before the hours and counts for both.
    const bool west = zone_hours < 0 || (zone_hours == 0 && negative_zone(text));
    zone_seconds = zone_hours * 3600LL + (west ? -1 : 1) * zone_minutes * 60LL;
    return true;
}

}  // namespace

_Caldane_Boolean _SOAP_DateTimeInStream::demarshal(_Caldane_Long& out) {
    out = 0;
    if (!to_text()) return kFailed;
    const CRefString text = outer_parser->getText();
    // Whatever the text is worth, who reads next is to stand behind it.
    const bool ended = at_end();
    std::tm parts{};
    long long zone_seconds = 0;
    if (!scan(text.c_str(), parts, zone_seconds)) return kFailed;
    const long long seconds = static_cast<long long>(timegm(&parts)) - zone_seconds;
    if (seconds < std::numeric_limits<_Caldane_Long>::min() ||
        seconds > std::numeric_limits<_Caldane_Long>::max())
        return kFailed;
    out = static_cast<_Caldane_Long>(seconds);
    return outcome(ended);
}

_Caldane_Boolean _SOAP_DecimalInStream::demarshal(_Caldane_TxType& value) {
    auto& view = view_of<_Caldane_AddressableString>(value);
    view.from_buffer(0, "", Caldane::OWNERSHIP_COPY);
    if (!to_text()) return kFailed;
    const CRefString text = outer_parser->getText();
    view.from_buffer(static_cast<_Caldane_ULong>(text.length()), text.c_str(), Caldane::OWNERSHIP_COPY);
    return outcome(at_end());
}
