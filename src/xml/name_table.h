// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <memory>

#include "streams/ref_string.h"

/// A name of a document as it is written, and what the parser wants to know of it again and again.
struct XmlName {
    enum class Role : unsigned char {
        other,
        declaration,  ///< `xmlns`, or anything with the prefix `xmlns`
        href,
        id,
    };

    CRefString raw;
    CRefString prefix;  ///< what stands before the first colon
    CRefString local;   ///< what stands behind it; the whole name without one
    int colon = -1;     ///< where it stands
    Role role = Role::other;
    bool ascii = true;

    /// False if two names are different for certain. Equality ends at a zero byte, which is not within ASCII.
    bool may_equal(const XmlName& other) const {
        return !ascii || !other.ascii || local.length() == other.local.length();
    }
};

/// The names and short texts that a document uses again and again, each made once. A fixed number of places:
/// a text that meets another one in its place takes it over, so that no document makes the table grow.
class NameTable {
public:
    PEL_HEAP_OBJECT

    NameTable() = default;
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    /// A table for one parser. One that was given back on this thread comes with what it holds, since the
    /// next document says much the same. Null when memory ends.
    static std::unique_ptr<NameTable> take();
    static void give_back(std::unique_ptr<NameTable> table);

    /// The name of these bytes, of which there is one at least; valid until the next call. Null when memory
    /// ends.
    const XmlName* name(const char* bytes, int length);

    /// A text of these bytes, the one that was given before where it is still there; false when memory ends.
    [[nodiscard]] bool text(CRefString& out, const char* bytes, int length);

private:
    static constexpr int kPlaces = 128;
    static constexpr int kLongest = 128;  ///< what is longer is made anew each time

    bool make(XmlName& made, const char* bytes, int length);

    XmlName names[kPlaces];
    CRefString texts[kPlaces];
    XmlName unplaced;
};
