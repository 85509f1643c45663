// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstring>

#include "marshal/namespaces.h"
#include "streams/ref_string.h"
#include "vqsys/text.h"
#include "xml/pull_parser.h"

// Comparing names of XML without regard to case, as all readers do, namespace URIs included.
namespace marshal_names {

/// True when `name` is the constant `text`, ignoring case. Most names differ in length, which is free to see.
template <std::size_t Size>
bool same(const CRefString& name, const char (&text)[Size]) {
    return name.length() == static_cast<int>(Size - 1) &&
           (std::memcmp(name.c_str(), text, Size - 1) == 0 || vqOSstricmp(name.c_str(), text) == 0);
}

/// True when the element of the current tag stands in the namespace of the envelope.
inline bool in_envelope_namespace(CXmlPullParser& parser) {
    return same(parser.getNamespace(), NS_SOAP_ENV);
}

/// True when the tag ahead marks its value as nil: an attribute `null` of any value, or `nil` of the schema
/// instance namespace that says so.
bool marked_nil(CXmlPullParser& parser);

/// True when a type attribute of the current tag names a base64 type.
bool typed_base64(CXmlPullParser& parser);

}  // namespace marshal_names
