// SPDX-License-Identifier: MIT

// Data over a session that stands: records in and out through the one buffer.

#include <vqsys/net.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "secure/provider.h"
#include "secure/secure_channel.h"

namespace {

// Records without data that may come in a row; a peer that sends only such keeps nobody busy for ever.
constexpr int kMostEmptyRecords = 1000;

}  // namespace

int CSecureChannel::read(char* buffer, int length) {
    if (length <= 0 || !make_buffer() || !send_held()) return 0;
    if (saved) restore_unread();
    if (plainCursor == plainEnd && !decrypt_next()) return 0;
    const auto available = static_cast<int>(plainEnd - plainCursor);
    const int count = std::min(available, length);
    std::memcpy(buffer, plainCursor, static_cast<std::size_t>(count));
    plainCursor += count;
    if (plainCursor == plainEnd) plainCursor = plainEnd = ioBuffer;
    return count;
}

/// Moves the bytes of the next record to the start of the buffer; how many there are.
ULONG CSecureChannel::take_extra() {
    const ULONG pending = extraLength;
    if (pending != 0) std::memmove(ioBuffer, extraData, pending);
    extraData = nullptr;
    extraLength = 0;
    return pending;
}

/// A record may come byte by byte: the limit counts for each of them.
int CSecureChannel::receive_more(ULONG pending) {
    if (read_end != std::chrono::steady_clock::time_point::max()) {
        const std::chrono::duration<double> left = read_end - std::chrono::steady_clock::now();
        if (left.count() <= 0) return 0;
        if (reads_end_exactly) vqNetSetTimeout(socket, left.count());
    }
    return vqNetRecv(socket, ioBuffer + pending, kBufferSize - static_cast<int>(pending), 0);
}

/// Waits for the next record with data; false when none comes.
bool CSecureChannel::decrypt_next() {
    ULONG pending = take_extra();
    SECURITY_STATUS status = SEC_E_INCOMPLETE_MESSAGE;
    for (int empty = 0; empty < kMostEmptyRecords;) {
        char* plain = nullptr;
        ULONG plain_length = 0;
        if (pending != 0) status = decryptRecord(pending, plain, plain_length);
        if (status == SEC_I_RENEGOTIATE) {
            std::printf("Server requested renegotiate!\n");
            status = clientHandshakeLoop(0);
            if (status == SEC_E_OK) {
                // The buffer holds what the handshake left over, and nothing of before.
                pending = take_extra();
                status = SEC_E_INCOMPLETE_MESSAGE;
                ++empty;
                continue;
            }
        }
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            if (pending >= kBufferSize) break;
            const int count = receive_more(pending);
            if (count <= 0) return false;
            pending += static_cast<ULONG>(count);
            continue;
        }
        if (status == SEC_I_CONTEXT_EXPIRED) return false;
        if (status != SEC_E_OK) break;
        if (plain != nullptr) {
            plainCursor = plain;
            plainEnd = plain + plain_length;
            return plain_length != 0;
        }
        pending = take_extra();
        status = SEC_E_INCOMPLETE_MESSAGE;
        ++empty;
    }
    std::printf("*** Error Decrypting Message\n");
    return false;
}

SECURITY_STATUS CSecureChannel::decryptRecord(ULONG pending, char*& plain, ULONG& plainLength) {
    SecBuffer list[4];
    list[0] = {pending, SECBUFFER_DATA, ioBuffer};
    SecBufferDesc message{SECBUFFER_VERSION, 4, list};
    const SECURITY_STATUS status =
        SecurityProvider::table().DecryptMessage(&contextHandle, &message, 0, nullptr);
    if (status != SEC_E_OK) return status;
    for (int i = 1; i < 4; ++i) {
        if (list[i].BufferType == SECBUFFER_DATA) {
            plain = static_cast<char*>(list[i].pvBuffer);
            plainLength = list[i].cbBuffer;
        } else if (list[i].BufferType == SECBUFFER_EXTRA) {
            extraData = static_cast<char*>(list[i].pvBuffer);
            extraLength = list[i].cbBuffer;
        }
    }
    return status;
}

/// The buffer is about to be written over: what nobody has read yet is kept elsewhere.
bool CSecureChannel::save_unread() {
    const auto plain = static_cast<ULONG>(plainEnd - plainCursor);
    if (plain == 0 && extraLength == 0) return true;
    saved.reset(static_cast<char*>(PEL_array_new(plain + extraLength)));
    if (!saved) return false;
    std::memcpy(saved.get(), plainCursor, plain);
    if (extraLength != 0) std::memcpy(saved.get() + plain, extraData, extraLength);
    saved_plain = plain;
    saved_extra = extraLength;
    plainCursor = plainEnd = ioBuffer;
    extraData = nullptr;
    extraLength = 0;
    return true;
}

void CSecureChannel::restore_unread() {
    std::memcpy(ioBuffer, saved.get(), saved_plain + saved_extra);
    saved.reset();
    plainCursor = ioBuffer;
    plainEnd = ioBuffer + saved_plain;
    extraLength = saved_extra;
    extraData = saved_extra != 0 ? plainEnd : nullptr;
}

int CSecureChannel::write(const char* data, int length) {
    const bool follows = more;
    more = false;
    if (length <= 0 || !context_open || !make_buffer() || !save_unread()) return 0;
    const ULONG room = kBufferSize - streamSizes.cbHeader - streamSizes.cbTrailer;
    const ULONG largest = std::min(streamSizes.cbMaximumMessage, room);
    if (largest == 0) return 0;
    ULONG left = static_cast<ULONG>(length);
    if (follows && left <= largest - held) {
        std::memcpy(ioBuffer + streamSizes.cbHeader + held, data, left);
        held += left;
        return length;
    }
    int sent = 0;
    while (left > 0) {
        const ULONG piece = std::min(left, largest - held);
        const int record = encryptRecord(data, piece);
        if (record == 0) return 0;
        data += piece;
        left -= piece;
        if (!send_all(ioBuffer, record, left > 0 || follows ? kVqSendMoreFollows : 0)) return -1;
        sent += record;
    }
    return sent;
}

/// Sends what waits for a further write that has not come.
bool CSecureChannel::send_held() {
    if (held == 0) return true;
    const int record = encryptRecord(nullptr, 0);
    return record != 0 && send_all(ioBuffer, record, 0);
}

/// Makes the record of what is held and the data in the buffer, from its start; its length, 0 at a failure.
int CSecureChannel::encryptRecord(const char* data, ULONG length) {
    char* const text = ioBuffer + streamSizes.cbHeader;
    std::memset(ioBuffer, 0, streamSizes.cbHeader);
    if (length > 0) std::memcpy(text + held, data, length);
    length += held;
    held = 0;
    return sealRecord(ioBuffer, length);
}

/// Seals `length` bytes that stand behind the room for a record's header; the record's length, 0 on failure.
int CSecureChannel::sealRecord(char* record, ULONG length) {
    char* const text = record + streamSizes.cbHeader;
    SecBuffer list[4];
    list[0] = {streamSizes.cbHeader, SECBUFFER_STREAM_HEADER, record};
    list[1] = {length, SECBUFFER_DATA, text};
    list[2] = {streamSizes.cbTrailer, SECBUFFER_STREAM_TRAILER, text + length};
    SecBufferDesc message{SECBUFFER_VERSION, 4, list};
    const SECURITY_STATUS status = SecurityProvider::table().EncryptMessage(&contextHandle, 0, &message, 0);
    if (status < 0) {
        std::printf(" EncryptMessage failed with %#x\n", static_cast<unsigned>(status));
        return 0;
    }
    return static_cast<int>(list[0].cbBuffer + list[1].cbBuffer + list[2].cbBuffer);
}

TlsState CSecureChannel::decrypt(std::span<char> received, ByteQueue& plain) {
    if (!context_open) return TlsState::failed;
    std::size_t used = 0;
    TlsState state = TlsState::failed;
    if (arrived.empty()) {
        state = openRecords(received.data(), received.size(), used, plain);
        if (!arrived.append({received.data() + used, received.size() - used})) state = TlsState::failed;
    } else if (arrived.append({received.data(), received.size()})) {
        state = openRecords(arrived.data(), arrived.size(), used, plain);
        arrived.consume(used);
    }
    return state;
}

/// Opens whole records up to the first with data; `used` bytes are done with then.
TlsState CSecureChannel::openRecords(char* bytes, std::size_t length, std::size_t& used, ByteQueue& plain) {
    const std::size_t before = plain.size();
    while (used < length && plain.size() == before) {
        const auto pending = static_cast<ULONG>(length - used);
        SecBuffer list[4];
        list[0] = {pending, SECBUFFER_DATA, bytes + used};
        SecBufferDesc message{SECBUFFER_VERSION, 4, list};
        const SECURITY_STATUS status =
            SecurityProvider::table().DecryptMessage(&contextHandle, &message, 0, nullptr);
        if (status == SEC_E_INCOMPLETE_MESSAGE && pending < kBufferSize) return TlsState::open;
        if (status == SEC_I_CONTEXT_EXPIRED) return TlsState::ended;
        if (status != SEC_E_OK) {
            std::printf("*** Error Decrypting Message\n");
            return TlsState::failed;
        }
        used = length;
        for (int i = 1; i < 4; ++i) {
            const std::string_view part(static_cast<const char*>(list[i].pvBuffer), list[i].cbBuffer);
            if (list[i].BufferType == SECBUFFER_EXTRA) used -= part.size();
            if (list[i].BufferType == SECBUFFER_DATA && !plain.append(part)) return TlsState::failed;
        }
    }
    return TlsState::open;
}

std::size_t CSecureChannel::seal(std::string_view text, ByteQueue& out) {
    if (!context_open || text.empty()) return 0;
    const ULONG length = static_cast<ULONG>(std::min<std::size_t>(text.size(), streamSizes.cbMaximumMessage));
    char* const place = out.reserve(streamSizes.cbHeader + length + streamSizes.cbTrailer);
    if (place == nullptr || length == 0) return 0;
    std::memset(place, 0, streamSizes.cbHeader);
    std::memcpy(place + streamSizes.cbHeader, text.data(), length);
    const int record = sealRecord(place, length);
    out.commit(static_cast<std::size_t>(record));
    return record != 0 ? length : 0;
}

bool CSecureChannel::send_all(const char* data, int length, int flags) {
    while (length > 0) {
        if (send_end != std::chrono::steady_clock::time_point::max()) {
            const std::chrono::duration<double> left = send_end - std::chrono::steady_clock::now();
            if (left.count() <= 0) return false;
            vqNetSetTimeout(socket, left.count());
            flags |= kVqSendInTime;
        }
        const int count = vqNetSend(socket, data, length, flags);
        if (count <= 0) return false;
        data += count;
        length -= count;
    }
    return true;
}

int CSecureChannel::getStreamSizes(int* header, int* trailer) {
    SecPkgContext_StreamSizes sizes;
    if (SecurityProvider::table().QueryContextAttributesA(&contextHandle, SECPKG_ATTR_STREAM_SIZES, &sizes) !=
        SEC_E_OK)
        return -1;
    std::printf("\nHeader: %d, Trailer: %d, MaxMessage: %d\n", static_cast<int>(sizes.cbHeader),
                static_cast<int>(sizes.cbTrailer), static_cast<int>(sizes.cbMaximumMessage));
    *header = static_cast<int>(sizes.cbHeader);
    *trailer = static_cast<int>(sizes.cbTrailer);
    return static_cast<int>(sizes.cbMaximumMessage);
}
