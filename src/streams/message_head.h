// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

class COutputStream;

/// The head of an HTTP message, as the streams of its body see it: they decide when it is written, and take
/// the length of the body from it.
class CMessageHead {
public:
    CMessageHead() = default;
    CMessageHead(const CMessageHead&) = delete;
    CMessageHead& operator=(const CMessageHead&) = delete;

    /// Writes start line and headers, once; later calls do nothing.
    virtual void WriteHeader(COutputStream* output) = 0;
    virtual int IsHeaderWritten() const = 0;

    /// A header of the half that is written; null if there is none. Stays the head's, until it is set anew.
    virtual const char* GetOutgoingHeader(const char* name) const = 0;
    virtual void AddOutgoingHeader(const char* name, const char* value) = 0;

    /// A header of the half that is read; null if there is none.
    virtual const char* GetIncomingHeader(const char* name) const = 0;

    /// The status of the response that is read; 0 where a request is.
    virtual std::int32_t GetIncomingStatus() const { return 0; }

    /// Most bytes that the body read may have; 0 is no limit.
    virtual long long GetMaxBody() const = 0;
    /// Told by the body's reader when there would be more than that.
    virtual void SetBodyTooLarge() = 0;

protected:
    ~CMessageHead() = default;
};
