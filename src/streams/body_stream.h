// SPDX-License-Identifier: MIT
#pragma once

#include "streams/stream.h"

/// How far a body was read, as seen by who wants to use the connection again.
enum class BodyEnd {
    open,       ///< there may be more of it
    exact,      ///< read to its end, and nothing else has been read ahead: the next message starts here
    not_clean,  ///< the connection cannot be used again: the end is not known or bytes stand behind it
};

/// The reader of one HTTP body.
class CBodyInputStream : public CInputStream {
public:
    /// Where the reader stands; reads nothing. A body that is framed by the end of the connection, one that
    /// is cut off, too large or framed by a malformed length or chunk, or one with stray bytes of the
    /// connection behind it in the buffer below gives `not_clean`.
    virtual BodyEnd end() = 0;

    /// Reads and drops what is left of the body, at most `limit` bytes of it; may block as any read. True
    /// when `end` is `exact` then.
    [[nodiscard]] bool drain(long long limit);
};
