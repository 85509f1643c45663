// SPDX-License-Identifier: MIT
// What a failed call leaves behind for its caller: the exception, and words on what happened.
#include <cstdio>
#include <cstdlib>

#include "client/client_line.h"
#include "client/response_framing.h"
#include "http/http_text.h"

namespace {

std::string words_for_status(std::int32_t status) {
    const char* const known = HttpStatusText(status);
    return std::atoi(known) == status ? known : std::to_string(status);
}

}  // namespace

bool is_status_of_call(std::int32_t status) {
    return status == 0 || status == 200 || status == 405 || status == 500;
}

/// For a call of which nothing was sent because the connection is of no more use. The broker takes another.
std::int32_t ClientLine::refuse_call() {
    if (connection.time_is_up()) {
        if (diagnosis.empty()) describe_time();
    } else {
        diagnosis = "the connection to ";
        diagnosis += endpoint.view();
        diagnosis += " had become useless after an earlier call";
        _Caldane_CallDiagnostics::not_delivered(call_info, true);
    }
    spoil();
    return _Caldane_SystemException::COMM_FAILURE;
}

void ClientLine::store_failure(std::int32_t kind) {
    _Caldane_CallDiagnostics::describe(call_info, diagnosis);
    _Caldane_CallException* const holder = _Caldane_CallException::lookup_or_add(call_info);
    if (holder == nullptr) return;
    if (message) {
        const std::int32_t status = message->GetStatus();
        last_error = _Caldane_String(HttpStatusText(status));
        if (!is_status_of_call(status)) kind = _Caldane_SystemException::HTTP_STATUS;
    }
    _Caldane_SystemException failure(0, _Caldane_CompletionStatus(1), kind);
    failure._put_message(last_error);
    holder->exception(failure, Caldane::OWNERSHIP_COPY);
}

void ClientLine::describe_time() {
    char words[64];
    std::snprintf(words, sizeof words, "call timed out after %g s", time_limit);
    diagnosis = words;
}

/// `failing`: what is wrong if nothing of the connection or the HTTP explains it.
void ClientLine::describe_response(const char* failing) {
    if (connection.time_is_up()) return describe_time();
    const std::string address(endpoint.view());
    if (!message->IsHeaderRead()) {
        if (!connection.has_ended()) {
            diagnosis = "the response's HTTP head could not be understood";
        } else if (!connection.received_nothing()) {
            diagnosis = "the server at " + address + " closed the connection within the response's HTTP head";
        } else if (connection.error().empty()) {
            diagnosis = "the server at " + address + " closed the connection before a status line came";
        } else {
            diagnosis =
                "the connection to " + address + " broke before a status line came: " + connection.error();
        }
        return;
    }
    const std::int32_t status = message->GetStatus();
    if (!is_status_of_call(status)) {
        diagnosis = "HTTP status " + words_for_status(status);
    } else if (message->BodyTooLarge()) {
        diagnosis = "the response's body is larger than SOAP_MAX_BODY allows";
    } else if (connection.has_ended() && tells_its_length(*message)) {
        diagnosis = "the server at " + address + " closed the connection within the response's body";
    } else {
        diagnosis = failing;
        if (status != 0 && status != 200) diagnosis += ", its HTTP status " + words_for_status(status);
    }
}
