// SPDX-License-Identifier: MIT
#include "streams/line_stream.h"

#include <cstring>

namespace {

constexpr int kFirstLineRoom = 100;
constexpr char kLineFeed = '\n';
constexpr char kCarriageReturn = '\r';

}  // namespace

CLineInputStream::CLineInputStream(CInputStream* from, CBufferedInputStream* from_blocks)
    : source(from), blocks(from_blocks), status_code(kStreamNullArgument) {
    if (from == nullptr) return;
    line.reset(new CBufferedOutputStream(nullptr, kFirstLineRoom));
    status_code = line && line->status() == kStreamGood ? kStreamGood : kStreamNoMemory;
}

char* CLineInputStream::read_line() {
    line->flush();
    if (!(blocks != nullptr ? gather_by_block() : gather_by_byte())) return nullptr;
    char* text = line->text();
    if (text == nullptr) return nullptr;
    int length = line->length();
    if (length > 0 && text[length - 1] == kCarriageReturn) text[--length] = '\0';
    return limit != 0 && length > limit ? nullptr : text;
}

bool CLineInputStream::gather_by_block() {
    while (blocks->fill()) {
        const char* held = blocks->held();
        const int count = blocks->available();
        const void* found = std::memchr(held, kLineFeed, static_cast<std::size_t>(count));
        const int piece = found != nullptr ? static_cast<int>(static_cast<const char*>(found) - held) : count;
        if (!store(held, piece)) return false;
        blocks->skip(found != nullptr ? piece + 1 : piece);
        if (found != nullptr) {
            ++taken_bytes;
            return true;
        }
    }
    return false;
}

bool CLineInputStream::gather_by_byte() {
    char c = 0;
    while (source->read(&c, 1) == 1) {
        if (c == kLineFeed) {
            ++taken_bytes;
            return true;
        }
        if (!store(&c, 1)) return false;
    }
    return false;
}

/// Keeps a piece of the line. One byte beyond the limit may still be the CR of its end.
bool CLineInputStream::store(const char* data, int length) {
    taken_bytes += length;
    if (length == 0) return true;
    return line->write(data, length) == length && (limit == 0 || line->length() <= limit + 1);
}

int CLineInputStream::available() {
    return line->length() > 0 ? line->length() : source->available();
}
