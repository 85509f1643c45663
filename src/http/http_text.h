// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include "streams/hex.h"

// The words of HTTP that the system writes and looks for.
inline constexpr char kHttpPost[] = "POST";
inline constexpr char kHttpGet[] = "GET ";
inline constexpr char kHttpWord[] = "HTTP";
inline constexpr char kHttpSlash[] = "/";
inline constexpr char kHttpColon[] = ":";
inline constexpr char kHttpBlank[] = " ";
inline constexpr char kHttpDot[] = ".";
inline constexpr char kHttpQuestion[] = "?";
inline constexpr char kHttpLineEnd[] = "\r\n";
inline constexpr char kHttpDate[] = "Date";
inline constexpr char kHttpServer[] = "Server";
inline constexpr char kHttpServerName[] = "ZOLT http version 1.0";
inline constexpr char kHttpConnection[] = "Connection";
inline constexpr char kHttpKeepAlive[] = "Keep-Alive";
inline constexpr char kHttpClose[] = "Close";
inline constexpr char kHttpContentLength[] = "Content-Length";
inline constexpr char kHttpContentType[] = "Content-Type";
inline constexpr char kHttpTransferEncoding[] = "Transfer-Encoding";
inline constexpr char kHttpChunked[] = "chunked";
inline constexpr char kHttpHost[] = "Host";

/// Number and reason of a status, as a status line tells it; "500 Internal Server Error" for every number
/// that is not in the table.
const char* HttpStatusText(std::int32_t status);

/// Bytes that `HttpDate` fills at most.
inline constexpr int kHttpDateRoom = 32;

/// `time` (seconds, -1 is now) as an HTTP date into `buffer` of `kHttpDateRoom` bytes; the empty text where
/// it cannot be told.
void HttpDate(std::int32_t time, char* buffer);
