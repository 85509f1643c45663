// SPDX-License-Identifier: MIT
#include <cstring>

#include "marshal/base64.h"
#include "marshal/in_views.h"
#include "marshal/names.h"
#include "marshal/number_text.h"
#include "marshal/octets.h"
#include "marshal/sequence_reader.h"
#include "marshal/soap_in_stream.h"
#include "marshal/value_weight.h"

using marshal_names::marked_nil;
using marshal_names::typed_base64;

namespace {

/// The first number in brackets among the attributes of the current tag, the last attribute's counting; -1 if
/// there is none.
std::int64_t declared_length(CXmlPullParser& parser) {
    std::int64_t declared = -1;
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        const CRefString value = parser.getAttributeValue(i);
        const int bracket = value.find('[', 0);
        if (bracket < 0 || value.find(']', 0) < 0) continue;
        const char* const number = value.c_str() + bracket + 1;
        if (*number != ']') declared = integer_in(number);  // empty brackets declare nothing
    }
    return declared;
}

}  // namespace

int _SOAP_InStream::demarshal_array(_Caldane_TxType& value) {
    if (parser->peekEvent() != START_TAG) return 0;
    if (marked_nil(*parser)) {
        value.is_nil(true);
        return skip_to_end_tag();
    }
    parser->next();
    auto& view = view_of<_Caldane_AddressableArray>(value);
    const std::int64_t declared = declared_length(*parser);
    if (declared != -1 && declared != static_cast<std::int64_t>(view.length())) return 0;
    const _Caldane_TypeRef::_ENUM_TCKind kind = view.element_type().kind();
    if (kind == _Caldane_TypeRef::tk_octet && typed_base64(*parser)) return read_array_octets(view);
    const bool read =
        kind == _Caldane_TypeRef::tk_array ? read_rows(view) : value._demarshal(*this) != _Caldane_FALSE;
    return read && parser->next() == XML_END_TAG ? 1 : 0;
}

int _SOAP_InStream::read_array_octets(_Caldane_AddressableArray& view) {
    if (parser->next() != TEXT) return 0;
    const CRefString text = parser->getText();
    const auto length = static_cast<std::size_t>(text.length());
    const OctetBuffer bytes = make_octets(base64_room(length));
    if (!bytes) return 0;
    const std::size_t count = base64_decode(text.c_str(), length, bytes.get());
    if (count != view.length() || !store_octets(view, bytes.get(), count)) return 0;
    return parser->next() == XML_END_TAG ? 1 : 0;
}

/// The elements of several dimensions, which stand side by side in row order.
bool _SOAP_InStream::read_rows(_Caldane_AddressableArray& view) {
    const auto length = view.length();
    const bool innermost = view.element_type().kind() != _Caldane_TypeRef::tk_array;
    for (_Caldane_ULong i = 0; i < length; ++i) {
        // In an any the message says how many rows there are, whether or not it brings them.
        if (!innermost && anys_ > 0 && parser->peekEvent() != START_TAG && !may_make(kMissingRow))
            return false;
        const _Caldane_AnyRef element = view.element(i).cast_away_constness();
        if (innermost) {
            if (element._demarshal(*this) == _Caldane_FALSE) return false;
            continue;
        }
        _Caldane_AddressableArray* row = _Caldane_AddressableArray::_down_cast(element);
        if (row == nullptr || !read_rows(*row)) return false;
    }
    return true;
}

int _SOAP_InStream::demarshal_sequence(_Caldane_TxType& value) {
    if (parser->peekEvent() != START_TAG) return 0;
    if (marked_nil(*parser)) {
        value.is_nil(true);
        return skip_to_end_tag();
    }
    parser->next();
    auto& view = view_of<_Caldane_AddressableSequence>(value);
    if (view.element_type().kind() == _Caldane_TypeRef::tk_octet && typed_base64(*parser))
        return read_sequence_octets(view);
    return SequenceReader(*this, *parser, view).read();
}

int _SOAP_InStream::read_sequence_octets(_Caldane_AddressableSequence& view) {
    const int event = parser->next();
    if (event == XML_END_TAG) return view.length(0) != _Caldane_FALSE ? 1 : 0;
    if (event != TEXT || !decode_base64(parser->getText(), view)) return 0;
    return parser->next() == XML_END_TAG ? 1 : 0;
}
