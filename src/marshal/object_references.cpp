// SPDX-License-Identifier: MIT
#include <cassert>
#include <cstring>

#include "marshal/names.h"
#include "marshal/namespaces.h"
#include "marshal/number_text.h"
#include "marshal/soap_in_stream.h"
#include "marshal/soap_out_stream.h"

// A reference as XML: its repository id, then each profile as a number and a text. It has no element of its
// own; the two elements stand where the reference stands.

using marshal_names::same;

namespace {

constexpr char kStringType[] = " xsi:type=\"xsd:string\"";

/// An element that holds one text, escaped.
void put_text_element(_SOAP_OutStream& out, const char* name, const _Caldane_String& text) {
    out.put_text("\r\n<");
    out.put_text(name);
    if (out.rpc_encoding()) out.put_text(kStringType);
    out.put_char('>');
    out.marshal(static_cast<const _Caldane_TxType&>(text));
    out.put_text("</");
    out.put_text(name);
    out.put_char('>');
}

void put_profiles_start(_SOAP_OutStream& out, _Caldane_ULong count) {
    out.put_text("\r\n<profiles");
    if (out.rpc_encoding()) {
        out.put_text(" xsi:type=\"SOAP-ENC:Array\" xmlns:u=\"");
        out.put_text(NS_IDL_WSDL);
        out.put_text("\" SOAP-ENC:arrayType=\"u:Profile[");
        out.marshal(count);
        out.put_text("]\"");
    }
    out.put_char('>');
}

void put_profile(_SOAP_OutStream& out, const _IOP_Profile& profile) {
    assert(profile.valid() && "profile.valid()");
    out.put_text("\r\n<ProfileId");
    if (out.rpc_encoding()) out.put_text(" xsi:type=\"xsd:unsignedInt\"");
    out.put_char('>');
    out.marshal(profile.tag());
    out.put_text("</ProfileId>");
    put_text_element(out, "profile_data", profile.data().as_string());
}

}  // namespace

_Caldane_Boolean _SOAP_OutStream::marshal_object(const _Caldane_Object& object) {
    const _IOP_IOR* reference = object._ior();
    if (reference == nullptr) return _Caldane_TRUE;
    put_text_element(*this, "type_id", reference->type_id());
    put_profiles_start(*this, static_cast<_Caldane_ULong>(reference->getProfileList().count()));
    for (_IOP_ProfileIter profiles = reference->profiles(); const _IOP_Profile* profile = profiles.current();
         profiles.next())
        put_profile(*this, *profile);
    put_text("\r\n</profiles>");
    return _Caldane_TRUE;
}

int _SOAP_InStream::demarshal_object(_Caldane_Object& object) {
    _Caldane_String type_id;
    _IOP_ProfileList profiles;
    bool secure = false;
    if (demarshal(static_cast<_Caldane_TxType&>(type_id)) == _Caldane_FALSE) return 0;
    if (parser->next() == START_TAG) {
        if (!same(parser->getName(), "profiles") || !read_profiles(profiles, secure)) return 0;
    }
    _IOP_IOR* reference = _IOP_IOR::generate(type_id, profiles);
    if (reference == nullptr) return 0;
    const auto flag = secure ? _Caldane_TRUE : _Caldane_FALSE;
    reference->setSecurity(flag);
    object.set_ior(reference);
    object.setSecurity(flag);
    return 1;
}

/// Reads number and text of each profile up to the end tag of `profiles`. One profile with a secure URL makes
/// the whole reference secure.
bool _SOAP_InStream::read_profiles(_IOP_ProfileList& profiles, bool& secure) {
    constexpr int kMaxProfiles = 1024;
    for (int i = 0; i <= kMaxProfiles; ++i) {
        const int event = parser->next();
        const CRefString name = parser->getName();
        if (event == XML_END_TAG) return same(name, "profiles");
        if (!same(name, "ProfileId") || parser->next() != TEXT) return false;
        const auto tag = static_cast<_Caldane_ULong>(integer_in(parser->getText().c_str()));
        parser->next();
        parser->next();
        if (!same(parser->getName(), "profile_data") || parser->next() != TEXT) return false;
        const CRefString text = parser->getText();
        constexpr char kSecure[] = "https:";
        if (std::strncmp(text.c_str(), kSecure, sizeof kSecure - 1) == 0) secure = true;
        const _IOP_Profile profile(tag, _IOP_OctetSeq(_Caldane_String(text.c_str(), text.length())));
        if (!profile.valid()) return false;
        profiles.append(profile);
        parser->next();
    }
    return false;
}
