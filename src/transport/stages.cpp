// SPDX-License-Identifier: MIT
// Everything that runs when the library is loaded. It stands in one source because the order counts: the
// broker calls the stages in the order in which they were installed.
#include <cstdint>

#include "addressing/soap_binding_info.h"
#include "addressing/soap_profile_factory.h"
#include "client/usage.h"
#include "server/soap_server.h"
#include "settings/settings.h"
#include "transport/broker.h"
#include "transport/soap_transport_info.h"
#include "transport/trace_stage.h"

/// A program that refers to this symbol has the library linked and loaded.
extern "C" __attribute__((visibility("default"))) std::int32_t _SOAP_Info_Loader;
std::int32_t _SOAP_Info_Loader = 0;

namespace {

const Caldane::SettingTable settings(kTransportSettings);
[[maybe_unused]] const int transport_installed = Caldane::installCallback(soap_transport_stage);
[[maybe_unused]] const auto& addresses_built = endpoint_table();
[[maybe_unused]] const int factory_installed = Caldane::installCallback(soap_profile_factory_stage);
[[maybe_unused]] const int usage_installed = Caldane::installCallback(soap_usage_stage);
[[maybe_unused]] const int bindings_installed = Caldane::installCallback(soap_binding_stage);
[[maybe_unused]] const int trace_installed = Caldane::installCallback(soap_trace_stage);

}  // namespace
