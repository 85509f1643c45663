// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>

#include "streams/message_head.h"
#include "streams/stream.h"

/// A head for tests of body streams: writes "HEAD;" and each outgoing header as "name=value;".
class FakeHead final : public CMessageHead {
public:
    void WriteHeader(COutputStream* output) override {
        if (written) return;
        std::string text = "HEAD;";
        for (const auto& [name, value] : outgoing) text += name + "=" + value + ";";
        output->write(text.data(), static_cast<int>(text.size()));
        written = true;
    }
    int IsHeaderWritten() const override { return written; }
    const char* GetOutgoingHeader(const char* name) const override { return look_up(outgoing, name); }
    void AddOutgoingHeader(const char* name, const char* value) override { outgoing[name] = value; }
    const char* GetIncomingHeader(const char* name) const override { return look_up(incoming, name); }
    long long GetMaxBody() const override { return max_body; }
    void SetBodyTooLarge() override { too_large = true; }

    std::map<std::string, std::string> outgoing;
    std::map<std::string, std::string> incoming;
    long long max_body = 0;
    bool too_large = false;
    bool written = false;

private:
    static const char* look_up(const std::map<std::string, std::string>& headers, const char* name) {
        const auto found = headers.find(name);
        return found != headers.end() ? found->second.c_str() : nullptr;
    }
};
