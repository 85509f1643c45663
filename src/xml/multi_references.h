// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <string>
#include <string_view>
#include <vector>

#include "streams/ref_string.h"
#include "xml/id_table.h"
#include "xml/subtree_writer.h"

class CXmlByteReader;

/// What the parser needs to follow `href` to `id` (SOAP 1.1, section 5): the raw text of the document from
/// the first `id` or `href` on, where in it the elements with an id begin, and what is left to read of the
/// texts that references brought in.
///
/// A reference is followed by reading on in the referenced element's own bytes: nothing is copied, so that
/// the cost of a reference is that of reading what it brings in. An id costs a few numbers until somebody
/// refers to it: what else is to be known of its element stands in the document.
class MultiReferences {
public:
    PEL_HEAP_OBJECT

    /// References within referenced text go this deep.
    static constexpr int kMaxNesting = 64;
    /// Text brought in over one document: this much, or `kMaxFactor` times its size if that is more.
    static constexpr long long kMaxBroughtIn = 64LL << 20;
    static constexpr long long kMaxFactor = 100;

    /// A piece of text to read.
    struct Input {
        const char* text = nullptr;
        int position = 0;
        int count = 0;
    };

    /// Takes over the document from `rest` on: the bytes given, and all that `reader` still has. False when
    /// memory ends.
    bool load(const Input& rest, CXmlByteReader& reader);
    /// The whole of it.
    Input document() const { return {document_, 0, size}; }

    /// Notes that the element `name` has this id and that its text goes on at `at`. Nothing changes for `at`
    /// outside the document, and for an id that an element with an end has already. False when memory ends.
    bool note(const CRefString& id, const CRefString& name, const char* at);

    /// Follows a reference from `current`, in the element `name`: gives the first piece of text to read
    /// instead, null text if there is none. The rest comes from `next_input`. May throw std::bad_alloc.
    Input follow(const CRefString& id, const CRefString& name, const Input& current);

    /// What to read when an input is used up; null text at the end of the document.
    Input next_input();

private:
    /// Where the text of an element with an id stands: two pieces, as its `id` attribute is left out.
    struct Pieces {
        int begin;
        int cut;     ///< end of the first piece
        int resume;  ///< begin of the second
        int end;
    };
    struct Frame {
        Input input;
        CRefString owner;
        bool ends_reference = false;
    };

    std::string_view text() const { return {document_, static_cast<std::size_t>(size)}; }
    bool find(const CRefString& id, Pieces& found);
    bool find_ahead(const CRefString& id, int from, Pieces& found);
    bool read_tag(int id_begin, std::string_view& name, Pieces& pieces) const;
    std::string_view name_before(int at);
    bool has_end(IdTable::Place& place);
    int find_end(std::string_view name, int from);
    int find_slash(int from);
    int find_closing(std::string_view name, int from);
    std::string_view closing_at(int at) const;
    void index_closings();
    void index_ids();
    std::string_view id_at(int at) const;
    int document_position(const Input& current) const;

    CXmlSubtreeWriter storage;
    const char* document_ = nullptr;
    int size = 0;
    long long brought_in = 0;
    int nesting = 0;
    IdTable ids;
    std::string first_name;    ///< of the first element with an id, whose tag begins before the document
    int first_noted = -1;      ///< where that element's text goes on
    int tag_begin = -1;        ///< of the tag whose name was looked for last
    int tag_looked_from = -1;  ///< and from where
    int slash = -1;            ///< the `/` of an empty element, or -1, of the tag looked at last
    int slash_from = 0;        ///< the places in that tag for which this holds
    int slash_until = -1;
    long long searched = 0;     ///< bytes looked through for end tags
    std::vector<int> closings;  ///< end tags, sorted by name and place, once that was much
    std::vector<int> ahead;     ///< ids in the text, sorted by text and place
    std::vector<Frame> frames;  ///< what is to be read, the next one last
    CRefString last_owner;      ///< keeps the text that is being read
    bool indexed = false;
    bool closings_indexed = false;
};
