// SPDX-License-Identifier: MIT
#include "marshal/base64.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "marshal/soap_out_stream.h"

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kPad = 64;
constexpr std::uint8_t kNone = 65;

constexpr std::array<std::uint8_t, 256> digit_table() {
    std::array<std::uint8_t, 256> table{};
    table.fill(kNone);
    for (std::uint8_t i = 0; i < 64; ++i) table[static_cast<unsigned char>(kAlphabet[i])] = i;
    table['='] = kPad;
    return table;
}

constexpr std::array<std::uint8_t, 256> kDigits = digit_table();

struct TwoDigits {
    char text[2];
};

/// The text of twelve bits.
constexpr std::array<TwoDigits, 4096> pair_table() {
    std::array<TwoDigits, 4096> table{};
    for (std::size_t i = 0; i < table.size(); ++i) table[i] = {{kAlphabet[i >> 6], kAlphabet[i & 63]}};
    return table;
}

constexpr std::array<TwoDigits, 4096> kPairs = pair_table();

constexpr std::uint64_t byte_swapped(std::uint64_t word) {
    return __builtin_bswap64(word);
}

/// Six bytes as eight characters; reads two bytes behind them.
void put_six(const unsigned char* from, char* to) {
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    if constexpr (std::endian::native == std::endian::little) word = byte_swapped(word);
    std::memcpy(to, &kPairs[word >> 52], 2);
    std::memcpy(to + 2, &kPairs[word >> 40 & 0xFFF], 2);
    std::memcpy(to + 4, &kPairs[word >> 28 & 0xFFF], 2);
    std::memcpy(to + 6, &kPairs[word >> 16 & 0xFFF], 2);
}

std::uint8_t digit(char c) {
    return kDigits[static_cast<unsigned char>(c)];
}

/// Where a digit's bits stand in a group of four, by its place there; `kNoDigit` for what is none.
constexpr std::uint32_t kNoDigit = 1U << 24;
using PlacedDigits = std::array<std::array<std::uint32_t, 256>, 4>;

constexpr PlacedDigits placed_digits() {
    PlacedDigits table{};
    for (std::size_t place = 0; place < 4; ++place) {
        for (std::size_t c = 0; c < 256; ++c)
            table[place][c] =
                kDigits[c] < kPad ? static_cast<std::uint32_t>(kDigits[c]) << (18 - 6 * place) : kNoDigit;
    }
    return table;
}

constexpr PlacedDigits kPlaced = placed_digits();

/// The 24 bits of four digits; `kNoDigit` or more if one of them is none.
std::uint32_t group_at(const char* text) {
    const auto bits = [text](std::size_t i) { return kPlaced[i][static_cast<unsigned char>(text[i])]; };
    return bits(0) | bits(1) | bits(2) | bits(3);
}

/// The 6 bits of a digit; "=" stands for none of them.
std::uint32_t bits(std::uint8_t digit_value) {
    return digit_value & 63U;
}

void store(std::uint32_t word, unsigned char* out) {
    out[0] = static_cast<unsigned char>(word >> 16);
    out[1] = static_cast<unsigned char>(word >> 8);
    out[2] = static_cast<unsigned char>(word);
}

}  // namespace

void CBase64Writer::put(unsigned char byte) {
    switch (phase) {
        case 0:
            target->put_char(kAlphabet[byte >> 2]);
            pending = (byte & 3) << 4;
            phase = 1;
            break;
        case 1:
            target->put_char(kAlphabet[(byte >> 4) | pending]);
            pending = (byte & 15) << 2;
            phase = 2;
            break;
        default:
            target->put_char(kAlphabet[(byte >> 6) | pending]);
            target->put_char(kAlphabet[byte & 63]);
            phase = 0;
    }
}

void CBase64Writer::put(const unsigned char* data, std::size_t length) {
    std::size_t done = 0;
    while (done < length && phase != 0) put(data[done++]);
    if (target->gathers_pieces()) done += put_groups(data + done, length - done);
    while (done < length) put(data[done++]);
}

/// Whole groups of six bytes, a block of text at a time; gives the number of bytes taken.
std::size_t CBase64Writer::put_groups(const unsigned char* data, std::size_t length) {
    constexpr std::size_t kBlockGroups = PieceBuffer::kLongestPiece / 8;
    // Each group is read with the two bytes behind it.
    const std::size_t groups = length < 8 ? 0 : (length - 2) / 6;
    for (std::size_t done = 0; done < groups;) {
        const std::size_t count = std::min(groups - done, kBlockGroups);
        char* const block = target->reserve_bytes(count * 8);
        for (std::size_t i = 0; i < count; ++i) put_six(data + (done + i) * 6, block + i * 8);
        target->commit_bytes(count * 8);
        done += count;
    }
    return groups * 6;
}

void CBase64Writer::finish() {
    if (phase == 0) return;
    target->put_char(kAlphabet[pending]);
    target->put_char('=');
    if (phase == 1) target->put_char('=');
    phase = 0;
}

std::size_t base64_decode(const char* text, std::size_t length, unsigned char* out) {
    if (out == nullptr) return 0;
    std::uint8_t group[4];
    std::size_t held = 0;
    std::size_t bytes = 0;
    std::uint8_t last = kNone;
    std::uint8_t last_but_one = kNone;
    for (std::size_t i = 0; i < length;) {
        if (held == 0 && length - i >= 4) {
            if (const std::uint32_t word = group_at(text + i); word < kNoDigit) {
                store(word, out + bytes);
                bytes += 3;
                last = last_but_one = 0;
                i += 4;
                continue;
            }
        }
        const std::uint8_t next = digit(text[i++]);
        if (next == kNone) continue;
        last_but_one = last;
        last = next;
        group[held++] = next;
        if (held < 4) continue;
        store(bits(group[0]) << 18 | bits(group[1]) << 12 | bits(group[2]) << 6 | bits(group[3]),
              out + bytes);
        bytes += 3;
        held = 0;
    }
    // The padding is told by the last two characters, wherever the last whole group ended.
    std::size_t padding = 0;
    if (last == kPad) ++padding;
    if (last_but_one == kPad) ++padding;
    return bytes < padding ? 0 : bytes - padding;
}
