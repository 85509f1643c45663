// SPDX-License-Identifier: MIT
#include "marshal/names.h"

namespace marshal_names {

bool marked_nil(CXmlPullParser& parser) {
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        const CRefString name = parser.getAttributeName(i);
        if (same(name, "null")) return true;
        if (!same(name, "nil") || !same(parser.getAttributeNamespace(i), NS_XSI)) continue;
        const CRefString value = parser.getAttributeValue(i);
        if (same(value, "true") || same(value, "1")) return true;
    }
    return false;
}

bool typed_base64(CXmlPullParser& parser) {
    const int count = parser.getAttributeCount();
    for (int i = 0; i < count; ++i) {
        if (same(parser.getAttributeName(i), "type") && parser.getAttributeValue(i).find("base64", 0) >= 0)
            return true;
    }
    return false;
}

}  // namespace marshal_names
