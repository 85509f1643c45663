// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "streams/ref_string.h"
#include "xml/subtree_writer.h"

class CXmlByteReader;

/// What the parser needs to follow `href` to `id` (SOAP 1.1, section 5): the raw text of the document from
/// the first `id` or `href` on, where in it the elements with an id begin, and what is left to read of the
/// texts that references brought in.
///
/// A reference is followed by reading on in the referenced element's own bytes: nothing is copied, so that
/// the cost of a reference is that of reading what it brings in.
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
    /// outside the document, and for an id that an element with an end has already.
    void note(const CRefString& id, const CRefString& name, const char* at);

    /// Follows a reference from `current`, in the element `name`: gives the first piece of text to read
    /// instead, null text if there is none. The rest comes from `next_input`. May throw std::bad_alloc.
    Input follow(const CRefString& id, const CRefString& name, const Input& current);

    /// What to read when an input is used up; null text at the end of the document.
    Input next_input();

private:
    /// Where the text of an element with an id stands: two pieces, as its `id` attribute is left out.
    struct Element {
        std::string name;
        int begin = -1;
        int cut = -1;     ///< end of the first piece
        int resume = -1;  ///< begin of the second
        int end = -1;     ///< -1 until looked for, -2 if it has none
    };
    struct Frame {
        Input input;
        CRefString owner;
        bool ends_reference = false;
    };

    Element* find(const CRefString& id);
    Element* find_ahead(const CRefString& id, int from);
    bool read_tag(Element& element, int id_begin);
    void find_end(Element& element);
    std::size_t find_closing(std::string_view name, std::size_t from);
    void index_closings();
    void index_ids();
    int document_position(const Input& current) const;

    CXmlSubtreeWriter storage;
    const char* document_ = nullptr;
    int size = 0;
    long long brought_in = 0;
    int nesting = 0;
    std::map<std::string, Element> elements;                ///< by id in lower case
    long long searched = 0;                                 ///< bytes looked through for end tags
    std::map<std::string_view, std::vector<int>> closings;  ///< end tags by name, once that was much
    std::size_t not_empty_from = 0;                         ///< no `/>` from here on before the next markup
    std::size_t not_empty_until = 0;
    std::vector<Frame> frames;                            ///< what is to be read, the next one last
    CRefString last_owner;                                ///< keeps the text that is being read
    std::vector<std::pair<std::string_view, int>> ahead;  ///< ids in the text with their places, sorted
    bool indexed = false;
    bool closings_indexed = false;
};
