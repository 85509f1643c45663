// SPDX-License-Identifier: MIT
#include "http/http_message.h"

#include <cstring>
#include <memory>

#include "http/http_text.h"
#include "streams/buffered_streams.h"
#include "streams/chunked_streams.h"
#include "streams/content_length_streams.h"
#include "streams/stream.h"

CHttpMessage::~CHttpMessage() {
    PEL_array_delete(method);
    PEL_array_delete(path);
    PEL_array_delete(query);
}

void CHttpMessage::set_text(char** field, const char* text) {
    char* copy = nullptr;
    if (text != nullptr) {
        const std::size_t size = std::strlen(text) + 1;
        copy = static_cast<char*>(PEL_array_new(size));
        if (copy != nullptr) {
            std::memcpy(copy, text, size);
        } else {
            error = kStreamNoMemory;
        }
    }
    PEL_array_delete(*field);
    *field = copy;
}

void CHttpMessage::add(CStringMap& headers, const char* name, const char* value) {
    if (name == nullptr || value == nullptr) return;
    if (headers.Set(name, value) == 0) error = kStreamNoMemory;
}

CBodyInputStream* CHttpMessage::OpenBodyReader(CInputStream* input, int own_input) {
    if (input == nullptr) return nullptr;
    std::unique_ptr<CBufferedInputStream> buffered(new CBufferedInputStream(input));
    if (!buffered || buffered->status() != kStreamGood) return nullptr;
    if (!ReadHeader(buffered.get())) return nullptr;

    CBodyInputStream* reader = nullptr;
    if (GetIncomingHeader(kHttpTransferEncoding) != nullptr) {
        auto* chunked = new CChunkedInputStream(buffered.get(), this);
        if (chunked != nullptr) chunked->set_owns_source(1);
        reader = chunked;
    } else {
        auto* plain = new CContentLengthInputStream(buffered.get(), this);
        if (plain != nullptr) plain->set_owns_source(1);
        reader = plain;
    }
    if (reader == nullptr) return nullptr;
    buffered->set_owns_source(own_input);
    buffered.release();
    return reader;
}

COutputStream* CHttpMessage::OpenBodyWriter(COutputStream* output, int own_output) {
    if (output == nullptr) return nullptr;
    std::unique_ptr<CBufferedOutputStream> buffered(new CBufferedOutputStream(output));
    if (!buffered || buffered->status() != kStreamGood) return nullptr;

    COutputStream* writer = nullptr;
    if (GetOutgoingHeader(kHttpTransferEncoding) != nullptr) {
        auto* chunked = new CChunkedOutputStream(buffered.get(), this);
        if (chunked != nullptr) chunked->set_owns_sink(1);
        writer = chunked;
    } else {
        auto* plain = new CContentLengthOutputStream(buffered.get(), this);
        if (plain != nullptr) plain->set_owns_sink(1);
        writer = plain;
    }
    if (writer == nullptr) return nullptr;
    buffered->set_owns_sink(own_output);
    buffered.release();
    return writer;
}
