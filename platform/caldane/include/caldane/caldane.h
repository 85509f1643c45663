// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <caldane/arg_list.h>
#include <caldane/async.h>
#include <caldane/basic.h>
#include <caldane/boolean.h>
#include <caldane/call_info.h>
#include <caldane/calls.h>
#include <caldane/context.h>
#include <caldane/dispatcher.h>
#include <caldane/exceptions.h>
#include <caldane/invoke.h>
#include <caldane/ior.h>
#include <caldane/object.h>
#include <caldane/properties.h>
#include <caldane/servant.h>
#include <caldane/side_by_side.h>
#include <caldane/soa.h>
#include <caldane/string.h>
#include <caldane/transport.h>
#include <caldane/user_exception.h>
#include <caldane/values.h>

// What an application includes, directly or through its generated headers.
namespace Caldane {

/// Starts the broker: takes `-Dname=value`, `-Dname`, `-Dproperties=FILE` and `-help` out of the arguments,
/// sets the properties (an argument wins over the file, the file over the environment's `CALDANE_name`) and
/// tells the transports. Throws SetupError for an option that is malformed, a file that cannot be read and a
/// number that is none. With `-help` all properties are printed and nothing is started: the result is false,
/// and the program should end. With a text in `usage` that is printed ahead of them, and alone where the only
/// argument is
/// `-h` or `--help`; the result is false then, too.
bool init(int& argc, char** argv, const char* usage = nullptr);

/// Ends what `init` started: servers first, then the transports in the order in which they came.
void shutdown();

/// A reference to the object at an http or https URL; nothing is asked of the network. Throws SystemError of
/// kind INV_OBJREF for a text that is no such URL.
_Caldane_Object string_to_object(std::string_view url);

/// The URL of an object; empty for nil.
std::string object_to_string(const _Caldane_Object& object);

}  // namespace Caldane
