// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "marshal/index_list.h"
#include "marshal/soap_in_stream.h"
#include "transport/broker.h"

/// Reads the items of one SOAP array into a sequence, of sequences where the array has several dimensions:
/// `arrayType` gives the sizes, `offset` and `position` say where items go (SOAP 1.1 section 5.4.2).
///
/// Memory follows what the message brings, not what it declares: elements are made as they come. The declared
/// lengths are set when a row is left, within what the stream allows for elements that never came: these are
/// weighed by what an element takes in memory, or as text where it is sent on.
class SequenceReader {
public:
    /// The start tag of the sequence's element is the parser's current event.
    SequenceReader(_SOAP_InStream& in, CXmlPullParser& parser, _Caldane_AddressableSequence& sequence);

    /// Reads to the end tag of the sequence's element and takes that; 0 for failure.
    int read();

private:
    bool read_items(const CRefString& element);
    bool move_to_position();
    bool place_item();
    bool make_room(_Caldane_AddressableSequence& row, std::size_t dimension);
    bool set_length(_Caldane_AddressableSequence& row, std::int64_t length, std::int64_t brought = 0);
    bool step();
    bool make_rows(_Caldane_AddressableSequence& row, std::size_t dimension);
    bool close_rows(std::size_t from);
    int finish_empty();
    bool sized(std::size_t dimension) const { return sizes.found() && sizes[dimension] >= 0; }
    _Caldane_AddressableSequence* row_below(_Caldane_AddressableSequence& row, std::size_t dimension);

    _SOAP_InStream& in;
    CXmlPullParser& parser;
    _Caldane_AddressableSequence& sequence;
    IndexList sizes;
    IndexList index;
    std::size_t dimensions = 1;
    std::size_t open_levels = 0;  // rows on the way to the last item, the outermost included
    bool typecodes;
};
