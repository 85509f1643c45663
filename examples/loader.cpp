// SPDX-License-Identifier: MIT
#include <cstdint>

// Referring to this symbol is what brings the SOAP transport into the program.
extern "C" std::int32_t _SOAP_Info_Loader;

extern const std::int32_t* const soap_transport_needed;
const std::int32_t* const soap_transport_needed = &_SOAP_Info_Loader;
