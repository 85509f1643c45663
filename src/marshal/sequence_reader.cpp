// SPDX-License-Identifier: MIT
#include "marshal/sequence_reader.h"

#include "marshal/value_weight.h"

SequenceReader::SequenceReader(_SOAP_InStream& stream, CXmlPullParser& source,
                               _Caldane_AddressableSequence& target)
    : in(stream),
      parser(source),
      sequence(target),
      sizes(IndexList::parse(source, "arrayType")),
      index(IndexList::parse(source, "offset")),
      typecodes(target.element_type().kind() == _Caldane_TypeRef::tk_TypeCode) {
    // Rows side by side in literal mode tell their sizes as an array in an any does.
    const bool has_rows = target.element_type().kind() == _Caldane_TypeRef::tk_sequence;
    if (!sizes.found() && has_rows && !stream.rpc_encoding()) sizes = IndexList::parse(source, "type");
    if (sizes.found()) dimensions = sizes.count();
    if (!index.found()) index = IndexList::zeros(dimensions);
    index.close();
}

int SequenceReader::read() {
    for (std::size_t d = 0; sizes.found() && d < dimensions; ++d) {
        if (sizes[d] == IndexList::kBad) return 0;
    }
    if (dimensions > static_cast<std::size_t>(_SOAP_InStream::kMaxDepth)) return 0;
    const CRefString element = parser.getName();
    if (parser.peekEvent() == XML_END_TAG) return finish_empty();
    return read_items(element) && close_rows(0) ? 1 : 0;
}

/// An element without children is an empty sequence; only rows that are declared as empty are made.
int SequenceReader::finish_empty() {
    parser.next();
    bool empty_rows = false;
    for (std::size_t d = 1; d < dimensions; ++d) empty_rows = empty_rows || sizes[d] == 0;
    return (empty_rows ? make_rows(sequence, 0) : set_length(sequence, 0)) ? 1 : 0;
}

/// Gives the row of this dimension, and those in it, the lengths that are declared.
bool SequenceReader::make_rows(_Caldane_AddressableSequence& row, std::size_t dimension) {
    if (!set_length(row, sized(dimension) ? sizes[dimension] : 0)) return false;
    if (dimension + 1 == dimensions || !sized(dimension + 1) || sizes[dimension + 1] == 0) return true;
    const _Caldane_ULong count = row.length();
    for (_Caldane_ULong i = 0; i < count; ++i) {
        auto* const below = _Caldane_AddressableSequence::_down_cast(row.element(i).cast_away_constness());
        if (below == nullptr || !make_rows(*below, dimension + 1)) return false;
    }
    return true;
}

bool SequenceReader::read_items(const CRefString& element) {
    for (;;) {
        const int event = parser.peekEvent();
        if (event == XML_END_DOCUMENT) return false;
        if (event == XML_END_TAG) {
            if (!(parser.getName() == element)) return false;
            parser.next();
            return true;
        }
        if (!move_to_position() || !place_item() || !step()) return false;
    }
}

/// Goes where the item ahead says it belongs.
bool SequenceReader::move_to_position() {
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        if (parser.getAttributeName(i).find("position", 0) < 0) continue;
        if (open_levels > 1 && !close_rows(1)) return false;
        index = IndexList::parse(parser, "position");
        if (!index.found()) index = IndexList::zeros(dimensions);
        index.close();
        break;
    }
    return index.count() == dimensions;
}

/// Reads the item ahead into the element at the index, through the rows that lead there.
bool SequenceReader::place_item() {
    _Caldane_AddressableSequence* row = &sequence;
    for (std::size_t d = 0;; ++d) {
        if (index[d] < 0 || (sized(d) && index[d] >= sizes[d]) || !make_room(*row, d)) return false;
        if (d + 1 == dimensions) break;
        row = row_below(*row, d);
        if (row == nullptr) return false;
    }
    open_levels = dimensions;
    const auto last = static_cast<_Caldane_ULong>(index[dimensions - 1]);
    if (row->_demarshal_content(last, in) == _Caldane_FALSE) return false;
    if (typecodes) in.skip_element();
    return true;
}

/// A row of a declared size grows with its items; one without is as long as its last index says.
bool SequenceReader::make_room(_Caldane_AddressableSequence& row, std::size_t dimension) {
    const std::int64_t wanted = std::int64_t{index[dimension]} + 1;
    const std::int64_t present = row.length();
    if (wanted == present || (wanted < present && sized(dimension))) return true;
    return set_length(row, wanted, 1);
}

/// Makes the row so long. Of the elements that are made for it, all but `brought` never came.
bool SequenceReader::set_length(_Caldane_AddressableSequence& row, std::int64_t length,
                                std::int64_t brought) {
    const std::int64_t unsent = length - row.length() - brought;
    if (unsent > 0) {
        // One of them is made to weigh it.
        if (row.length() == 0 && row.length(_Caldane_ULong{1}) == _Caldane_FALSE) return false;
        if (!in.may_make(unsent * weight_of(row.element(0)))) return false;
    }
    return row.length(static_cast<_Caldane_ULong>(length)) != _Caldane_FALSE;
}

/// The row that the index of `dimension` selects; null where the value has no such level.
_Caldane_AddressableSequence* SequenceReader::row_below(_Caldane_AddressableSequence& row,
                                                        std::size_t dimension) {
    const auto at = static_cast<_Caldane_ULong>(index[dimension]);
    return _Caldane_AddressableSequence::_down_cast(row.element(at).cast_away_constness());
}

/// Counts the index on, from the last dimension up; beyond the last element it starts again at the first.
bool SequenceReader::step() {
    for (std::size_t d = dimensions; d-- > 0;) {
        if (++index[d]; !sized(d) || index[d] != sizes[d]) return true;
        index[d] = 0;
        if (d > 0 && !close_rows(d)) return false;
    }
    return true;
}

/// Leaves the rows that items went into last, those of dimension `from` and further in: each gets its
/// declared length.
bool SequenceReader::close_rows(std::size_t from) {
    _Caldane_AddressableSequence* row = &sequence;
    for (std::size_t d = 0; row != nullptr; ++d) {
        if (d >= from && sized(d) && row->length() != static_cast<_Caldane_ULong>(sizes[d]) &&
            !set_length(*row, sizes[d]))
            return false;
        if (d + 1 >= open_levels) break;
        row = row_below(*row, d);
    }
    if (open_levels > from) open_levels = from;
    return true;
}
