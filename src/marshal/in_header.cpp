// SPDX-License-Identifier: MIT
#include "marshal/names.h"
#include "marshal/soap_in_stream.h"

using marshal_names::in_envelope_namespace;
using marshal_names::same;

namespace {

/// Reads one value from the stream into the context, under the entry's name; 0 ends the header.
using EntryReader = int (*)(_SOAP_InStream& in, _Caldane_Context& context, const _Caldane_String& name);

template <class Value>
int read_typed(_SOAP_InStream& in, _Caldane_Context& context, const _Caldane_String& name) {
    Value value{};
    in.demarshal(value);
    context.set_one_value(name, _Caldane_AnyRef(value));
    return 1;
}

int read_as_text(_SOAP_InStream& in, _Caldane_Context& context, const _Caldane_String& name) {
    const char* text = "";
    if (in.read_text(&text) == 0) return 0;
    _Caldane_String value(text, -1, Caldane::OWNERSHIP_COPY);
    context.set_one_value(name, _Caldane_AnyRef(static_cast<_Caldane_TxType&>(value)));
    return 1;
}

int read_string(_SOAP_InStream& in, _Caldane_Context& context, const _Caldane_String& name) {
    // Not through the constructed values: their start tag must still be ahead.
    _Caldane_String value;
    in.demarshal_string_value(value);
    context.set_one_value(name, _Caldane_AnyRef(static_cast<_Caldane_TxType&>(value)));
    return 1;
}

struct EntryType {
    const char* text;
    EntryReader read;
};

constexpr EntryType kEntryTypes[] = {
    {"xsd:short", read_typed<short>},
    {"xsd:int", read_typed<_Caldane_Long>},
    {"xsd:unsignedShort", read_typed<unsigned short>},
    {"xsd:unsignedLong", read_typed<_Caldane_ULong>},
    {"xsd:float", read_typed<float>},
    {"xsd:double", read_typed<double>},
    {"xsd:string", read_string},
    {"xsd:boolean", read_typed<_Caldane_Boolean>},
    {"xsd:byte", read_typed<unsigned char>},
};

/// The type that the first attribute whose value names one tells; without any, an entry is a string.
EntryReader entry_reader(CXmlPullParser& parser, int attribute_count) {
    for (int i = 0; i < attribute_count; ++i) {
        const CRefString value = parser.getAttributeValue(i);
        for (const EntryType& type : kEntryTypes) {
            if (vqOSstricmp(value.c_str(), type.text) == 0) return type.read;
        }
    }
    return read_as_text;
}

/// So many entries of one Header are read, and so many a context takes up of them: it looks each up by its
/// name, and a client's goes on from call to call.
constexpr int kMaxHeaderEntries = 1000;

}  // namespace

/// Copies the entries of `Header` into the default context. Stops with 0 at an entry that it cannot read,
/// among them one without attributes, and behind the last that is allowed.
int _SOAP_InStream::read_header() {
    _Caldane_Context& context = SOA::get_default_context();
    int entries = 0;
    for (;;) {
        switch (parser->next()) {
            case XML_END_DOCUMENT:
                return 0;
            case XML_END_TAG:
                return same(parser->getName(), "Header") && in_envelope_namespace(*parser) ? 1 : 0;
            case START_TAG: {
                const int attributes = parser->getAttributeCount();
                if (attributes <= 0) break;
                if (++entries > kMaxHeaderEntries) return 0;
                const _Caldane_String name(parser->getName().c_str(), -1, Caldane::OWNERSHIP_COPY);
                if (context.size() >= kMaxHeaderEntries && !context.has(name.view())) break;
                if (entry_reader(*parser, attributes)(*this, context, name) == 0) return 0;
                break;
            }
            default:
                break;
        }
    }
}
