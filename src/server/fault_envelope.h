// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

class _Caldane_ExceptionBase;
class _SOAP_OutStream;

/// Classes of faults (SOAP 1.1 section 4.4.1).
enum FaultClass : int {
    FAULT_VERSION_MISMATCH = 0,
    FAULT_MUST_UNDERSTAND = 1,
    FAULT_CLIENT = 2,
    FAULT_SERVER = 3,
};

/// Writes the envelope of a fault in place of a reply, with the HTTP status 500, to a stream whose body is
/// open. The exception's message, which is safe inside XML, becomes the fault's text, its members stand in
/// `detail` in an element named after its repository id. Classes 0 and 1 have no exception. Always true.
bool write_fault(_SOAP_OutStream& out, int fault_class, const _Caldane_ExceptionBase* exception);

/// The name of an exception's element: "Acme:Deep:Failure" for "IDL:Acme/Deep/Failure:1.0". For an id without
/// two ":" the longest run of name characters in it, or "Exception".
std::string fault_element_name(std::string_view repository_id);
