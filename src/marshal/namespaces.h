// SPDX-License-Identifier: MIT
#pragma once

// The namespace URIs and the prefixes that messages are written with and read by.

inline constexpr char NS_SOAP_ENV[] = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr char NS_SOAP_ENC[] = "http://schemas.xmlsoap.org/soap/encoding/";
inline constexpr char NS_XSD[] = "http://www.w3.org/2001/XMLSchema";
inline constexpr char NS_XSI[] = "http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char NS_XML[] = "http://www.w3.org/XML/1998/namespace";
inline constexpr char NS_XMLNS[] = "http://www.w3.org/2000/xmlns/";
inline constexpr char NS_IDL_WSDL[] = "http://www.omg.org/IDL-WSDL/1.0/";
inline constexpr char NS_BSI[] = "http://bsi.example/schemas/imaging/con/bsi/workflow/2003/08/21";

/// Repository ids of the four structs that stand for simple types of XML Schema: each travels as the text of
/// one element, without elements for its member.
inline constexpr char XSD_BASE64_ID[] = "IDL:xsd/base64Binary:1.0";
inline constexpr char XSD_HEX_ID[] = "IDL:xsd/hexBinary:1.0";
inline constexpr char XSD_DATE_TIME_ID[] = "IDL:xsd/dateTime:1.0";
inline constexpr char XSD_DECIMAL_ID[] = "IDL:xsd/decimal:1.0";
