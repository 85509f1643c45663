// SPDX-License-Identifier: MIT
#include "http/http_text.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

struct StatusRow {
    std::int32_t status;
    const char* text;
};

constexpr StatusRow kStatusTable[] = {
    {200, "200 OK"},
    {500, "500 Internal Server Error"},
    {100, "100 Continue"},
    {204, "204 No Content"},
    {302, "302 Found"},
    {304, "304 Not Modified"},
    {400, "400 Bad Request"},
    {401, "401 Not Authorized"},
    {403, "403 Forbidden"},
    {404, "404 Not Found"},
    {405, "405 Method Not Allowed"},
    {406, "406 Not Acceptable"},
    {411, "411 Length Required"},
    {412, "412 Precondition Failed"},
    {413, "413 Request Entity Too Large"},
    {414, "414 Request-URI Too Long"},
    {501, "501 Not Implemented"},
    {503, "503 Service Unavailable"},
    {505, "505 HTTP Version Not Supported"},
};

// Not strftime: its names are those of the program's locale.
constexpr const char* kDayNames[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonthNames[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

void format_date(std::time_t time, char* buffer) {
    buffer[0] = '\0';
    std::tm parts{};
    if (gmtime_r(&time, &parts) == nullptr) return;
    std::snprintf(buffer, kHttpDateRoom, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDayNames[parts.tm_wday],
                  parts.tm_mday, kMonthNames[parts.tm_mon], parts.tm_year + 1900, parts.tm_hour, parts.tm_min,
                  parts.tm_sec);
}

/// The date of the second that this thread asked for last: most messages of a busy second share it.
struct DateOfNow {
    std::time_t second = 0;
    char text[kHttpDateRoom] = "";
};

constinit thread_local DateOfNow date_of_now;

}  // namespace

const char* HttpStatusText(std::int32_t status) {
    for (const StatusRow& row : kStatusTable) {
        if (row.status == status) return row.text;
    }
    return "500 Internal Server Error";
}

void HttpDate(std::int32_t time, char* buffer) {
    if (time != -1) {
        format_date(time, buffer);
        return;
    }
    const std::time_t now = std::time(nullptr);
    if (now != date_of_now.second) {
        date_of_now.second = now;
        format_date(now, date_of_now.text);
    }
    std::memcpy(buffer, date_of_now.text, kHttpDateRoom);
}
