// SPDX-License-Identifier: MIT
#pragma once

// The one door to the broker, beside that to its settings (settings/settings.h): whatever in src/ asks
// something of it includes this header and no other of the broker's, so that what the library expects of a
// broker shows in one place. scripts/check-includes holds everybody to it.

#include <caldane/addressable.h>
#include <caldane/any_ref.h>
#include <caldane/any_value.h>
#include <caldane/arg_list.h>
#include <caldane/basic.h>
#include <caldane/boolean.h>
#include <caldane/call_info.h>
#include <caldane/calls.h>
#include <caldane/cdr.h>
#include <caldane/context.h>
#include <caldane/dispatcher.h>
#include <caldane/exceptions.h>
#include <caldane/idl_types.h>
#include <caldane/ior.h>
#include <caldane/object.h>
#include <caldane/primitive.h>
#include <caldane/properties.h>
#include <caldane/representation.h>
#include <caldane/sequence_value.h>
#include <caldane/servant.h>
#include <caldane/soa.h>
#include <caldane/string.h>
#include <caldane/transport.h>
#include <caldane/transport_stream.h>
#include <caldane/tx_type.h>
#include <caldane/type_ref.h>
