// SPDX-License-Identifier: MIT
#include "marshal/soap_out_stream.h"

#include "http/http_message.h"
#include "marshal/text_mode.h"
#include "streams/socket_streams.h"
#include "xml/utf8_text.h"

_SOAP_OutStream::~_SOAP_OutStream() {
    drop_body();
}

int _SOAP_OutStream::attach(CHttpMessage* http_message, vqSocket connection, CSecureChannel* secure_channel) {
    message = http_message;
    socket = connection;
    channel = secure_channel;
    return 1;
}

int _SOAP_OutStream::open_body(int) {
    if (writer) return 1;
    return open_body_over(std::unique_ptr<COutputStream>(new CSocketOutputStream(socket, channel)));
}

int _SOAP_OutStream::open_body_over(std::unique_ptr<COutputStream> bottom) {
    if (writer) return 1;
    if (!bottom) return 0;
    writer.reset(message->OpenBodyWriter(bottom.get(), 1));
    if (!writer) return 0;
    bottom.release();
    utf8_text_ = text_is_utf8();
    text_refused_ = false;
    // Only where the whole body waits in memory for its length is the cutting into pieces not seen by anyone.
    const bool gather = message->GetOutgoingHeader("Transfer-Encoding") == nullptr &&
                        message->GetOutgoingHeader("Content-Length") == nullptr;
    pieces.open(writer.get(), gather);
    return 1;
}

int _SOAP_OutStream::close_body() {
    if (!writer) return 1;
    pieces.flush();
    writer->close();
    writer.reset();
    return 1;
}

bool _SOAP_OutStream::discard() {
    if (!writer) return true;
    if (!writer->discard()) return false;
    text_refused_ = false;
    pieces.drop();
    return true;
}

void _SOAP_OutStream::drop_body() {
    if (!writer) return;
    writer->abandon();
    writer.reset();
}

void _SOAP_OutStream::set_status(int code) {
    message->SetStatus(code);
}

int _SOAP_OutStream::put_string(const _Caldane_String& text) {
    if (utf8_text_ && check_utf8(text.c_str(), text.length()).fault != TextFault::none) text_refused_ = true;
    return put_bytes(text.c_str(), text.length());
}
