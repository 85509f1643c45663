// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>

class CHttpMessage;

/// The most that is read and dropped of a response that nobody wants, so that its connection can go on.
inline constexpr long kMostLeftovers = 1024 * 1024;
/// How long that may take, and how long one waits for the response to a one-way call: after that a new
/// connection is the better choice.
inline constexpr std::chrono::seconds kTimeForLeftovers{1};
inline constexpr std::chrono::seconds kTimeForOnewayReply{30};

/// True if the response asks for the connection to be closed: "close" among the options of its Connection
/// header (RFC 9112 9.6), in any case.
[[nodiscard]] bool announces_close(const CHttpMessage& response);

/// True if the response can be trusted to mean that its connection stays: it says "keep-alive", or comes from
/// a server of this library. HTTP/1.1 alone (RFC 9112 9.3) is no such word: servers close without one.
[[nodiscard]] bool promises_to_stay(const CHttpMessage& response);

/// Statuses whose body may be a call's outcome, and 0, which no status line has given.
[[nodiscard]] bool is_status_of_call(std::int32_t status);

/// True if the response says where its body ends.
[[nodiscard]] bool tells_its_length(const CHttpMessage& response);
