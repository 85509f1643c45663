// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <secprov/system.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "secure/provider.h"

namespace soap_test {

/// A security provider that does what a test tells it, and remembers what it was asked. One at a time; it
/// stands in the place of the real one for as long as it lives.
class ScriptedProvider {
public:
    /// What one step of a handshake, or one decryption, is to give.
    struct Step {
        SECURITY_STATUS status = SEC_E_OK;
        std::string token = "";  ///< a handshake's output
        ULONG extra = 0;         ///< how many bytes of the input, at its end, are left over
        ULONG attributes = 0;
        int plain = -1;  ///< a decryption's length of data; -1 gives none
    };

    ScriptedProvider() {
        current = this;
        table.AcquireCredentialsHandleA = &acquire;
        table.FreeCredentialsHandle = [](CredHandle*) { return ++current->credentials_freed, SEC_E_OK; };
        table.InitializeSecurityContextA = &initialize;
        table.AcceptSecurityContext = &accept;
        table.DeleteSecurityContext = &delete_context;
        table.ApplyControlToken = &apply;
        table.QueryContextAttributesA = &query;
        table.FreeContextBuffer = [](void* buffer) {
            return std::free(buffer), ++current->tokens_freed, SEC_E_OK;
        };
        table.EncryptMessage = &encrypt;
        table.DecryptMessage = &decrypt;
        certificates.open_system_store = [](void*, const char* name) { return current->open(name); };
        certificates.open_store = [](const char*, DWORD, void*, DWORD flags, const void*) {
            return current->open(flags == CERT_SYSTEM_STORE_LOCAL_MACHINE ? "machine" : "?");
        };
        certificates.close_store = [](HCERTSTORE, DWORD) { return ++current->stores_closed, TRUE; };
        certificates.str_to_name = &str_to_name;
        certificates.find_certificate = &find;
        certificates.free_certificate = [](const CERT_CONTEXT*) {
            return ++current->certificates_freed, TRUE;
        };
        certificates.get_chain = &get_chain;
        certificates.verify_policy = &verify;
        certificates.free_chain = [](const CERT_CHAIN_CONTEXT*) { ++current->chains_freed; };
        SecurityProvider::replace(&table, certificates);
    }
    ~ScriptedProvider() {
        SecurityProvider::replace(nullptr, {});
        current = nullptr;
    }
    ScriptedProvider(const ScriptedProvider&) = delete;
    ScriptedProvider& operator=(const ScriptedProvider&) = delete;

    std::deque<Step> steps;
    std::vector<std::string> inputs;  ///< of each step
    SecPkgContext_StreamSizes sizes{5, 3, 16, 4, 1};
    SECURITY_STATUS sizes_status = SEC_E_OK;
    SECURITY_STATUS encrypt_status = SEC_E_OK;
    SECURITY_STATUS apply_status = SEC_E_OK;
    SECURITY_STATUS acquire_status = SEC_E_OK;
    SCHANNEL_CRED acquired;
    ULONG acquired_use = 0;
    std::vector<std::string> stores_opened;
    std::string wanted_subject;
    std::string target;
    ULONG requirements = 0;
    CERT_CONTEXT certificate;
    bool has_certificate = true;
    bool has_store = true;
    bool has_chain = true;
    bool name_is_good = true;
    CERT_CHAIN_CONTEXT chain;
    BOOL verify_result = TRUE;
    DWORD policy_error = 0;
    HTTPSPolicyCallbackData policy;
    std::u16string policy_name;
    std::vector<std::string> usages;
    SECURITY_STATUS peer_status = SEC_E_OK;
    const CERT_CONTEXT* peer = &certificate;
    int contexts = 0;
    int credentials_freed = 0, tokens_given = 0, tokens_freed = 0;
    int stores_closed = 0, certificates_freed = 0, chains_freed = 0;

private:
    static inline ScriptedProvider* current = nullptr;

    HCERTSTORE open(const char* name) {
        SetLastError(5);
        if (!has_store) return nullptr;
        stores_opened.emplace_back(name);
        return &stores_opened;
    }

    static SECURITY_STATUS acquire(const char*, const char*, ULONG use, void*, void* data, void*, void*,
                                   CredHandle*, TimeStamp*) {
        current->acquired = *static_cast<SCHANNEL_CRED*>(data);
        current->acquired_use = use;
        return current->acquire_status;
    }

    SECURITY_STATUS step(CtxtHandle* context, SecBufferDesc* input, CtxtHandle* fresh, SecBufferDesc* output,
                         ULONG* attributes) {
        if (context == nullptr) {
            fresh->dwLower = 7;
            ++contexts;
        }
        inputs.emplace_back();
        if (input != nullptr)
            inputs.back().assign(static_cast<char*>(input->pBuffers[0].pvBuffer),
                                 input->pBuffers[0].cbBuffer);
        if (steps.empty()) return SEC_E_OK;
        const Step now = steps.front();
        steps.pop_front();
        *attributes = now.attributes;
        if (!now.token.empty()) {
            output->pBuffers[0].cbBuffer = static_cast<ULONG>(now.token.size());
            output->pBuffers[0].pvBuffer = std::malloc(now.token.size());
            std::memcpy(output->pBuffers[0].pvBuffer, now.token.data(), now.token.size());
            ++tokens_given;
        }
        if (now.extra > 0) input->pBuffers[1] = {now.extra, SECBUFFER_EXTRA, nullptr};
        return now.status;
    }
    static SECURITY_STATUS initialize(CredHandle*, CtxtHandle* context, const char* name, ULONG wanted, ULONG,
                                      ULONG, SecBufferDesc* input, ULONG, CtxtHandle* fresh,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp*) {
        if (name != nullptr) current->target = name;
        current->requirements = wanted;
        return current->step(context, input, fresh, output, attributes);
    }
    static SECURITY_STATUS accept(CredHandle*, CtxtHandle* context, SecBufferDesc* input, ULONG wanted, ULONG,
                                  CtxtHandle* fresh, SecBufferDesc* output, ULONG* attributes, TimeStamp*) {
        current->requirements = wanted;
        return current->step(context, input, fresh, output, attributes);
    }
    static SECURITY_STATUS delete_context(CtxtHandle* context) {
        *context = {};
        --current->contexts;
        return SEC_E_OK;
    }
    static SECURITY_STATUS apply(CtxtHandle*, SecBufferDesc* input) {
        DWORD command = 0;
        std::memcpy(&command, input->pBuffers[0].pvBuffer, sizeof command);
        EXPECT_EQ(command, SCHANNEL_SHUTDOWN);
        return current->apply_status;
    }
    static SECURITY_STATUS query(CtxtHandle*, ULONG attribute, void* out) {
        if (attribute == SECPKG_ATTR_STREAM_SIZES) {
            *static_cast<SecPkgContext_StreamSizes*>(out) = current->sizes;
            return current->sizes_status;
        }
        *static_cast<const CERT_CONTEXT**>(out) = current->peer;
        return current->peer_status;
    }
    /// A record of `<`, the data and `>`.
    static SECURITY_STATUS encrypt(CtxtHandle*, ULONG, SecBufferDesc* message, ULONG) {
        std::memset(message->pBuffers[0].pvBuffer, '<', message->pBuffers[0].cbBuffer);
        message->pBuffers[2].cbBuffer = 1;
        std::memset(message->pBuffers[2].pvBuffer, '>', 1);
        return current->encrypt_status;
    }
    static SECURITY_STATUS decrypt(CtxtHandle*, SecBufferDesc* message, ULONG, ULONG*) {
        SecBuffer* const list = message->pBuffers;
        const SecBuffer all = list[0];
        current->inputs.emplace_back(static_cast<char*>(all.pvBuffer), all.cbBuffer);
        if (current->steps.empty()) return SEC_E_INCOMPLETE_MESSAGE;
        const Step now = current->steps.front();
        current->steps.pop_front();
        if (now.status != SEC_E_OK) return now.status;
        if (now.plain >= 0) list[1] = {static_cast<ULONG>(now.plain), SECBUFFER_DATA, all.pvBuffer};
        if (now.extra > 0)
            list[3] = {now.extra, SECBUFFER_EXTRA,
                       static_cast<char*>(all.pvBuffer) + (all.cbBuffer - now.extra)};
        return SEC_E_OK;
    }
    static BOOL str_to_name(DWORD, const char*, DWORD, void*, unsigned char* encoded, DWORD* size,
                            const char**) {
        SetLastError(6);
        if (!current->name_is_good) return FALSE;
        *size = 3;
        if (encoded != nullptr) std::memcpy(encoded, "DER", 3);
        return TRUE;
    }
    static const CERT_CONTEXT* find(HCERTSTORE, DWORD, DWORD, DWORD kind, const void* parameter,
                                    const CERT_CONTEXT*) {
        if (kind == CERT_FIND_SUBJECT_NAME) {
            const auto& blob = *static_cast<const CRYPT_BLOB*>(parameter);
            current->wanted_subject.assign(reinterpret_cast<const char*>(blob.pbData), blob.cbData);
        } else {
            current->wanted_subject = static_cast<const char*>(parameter);
        }
        SetLastError(7);
        return current->has_certificate ? &current->certificate : nullptr;
    }
    static BOOL get_chain(void*, const CERT_CONTEXT*, void*, HCERTSTORE, CERT_CHAIN_PARA* parameter, DWORD,
                          void*, const CERT_CHAIN_CONTEXT** out) {
        const CERT_ENHKEY_USAGE& usage = parameter->RequestedUsage.Usage;
        current->usages.assign(usage.rgpszUsageIdentifier,
                               usage.rgpszUsageIdentifier + usage.cUsageIdentifier);
        SetLastError(8);
        *out = &current->chain;
        return current->has_chain ? TRUE : FALSE;
    }
    static BOOL verify(const char*, const CERT_CHAIN_CONTEXT*, CERT_CHAIN_POLICY_PARA* parameter,
                       CERT_CHAIN_POLICY_STATUS* status) {
        current->policy = *static_cast<HTTPSPolicyCallbackData*>(parameter->pvExtraPolicyPara);
        current->policy_name =
            current->policy.pwszServerName != nullptr ? current->policy.pwszServerName : u"";
        SetLastError(9);
        status->dwError = current->policy_error;
        return current->verify_result;
    }

    SecurityFunctionTableA table{};
    CertificateFunctions certificates;
};

/// What `action` prints on standard output.
template <class Action>
std::string printed_by(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

}  // namespace soap_test
