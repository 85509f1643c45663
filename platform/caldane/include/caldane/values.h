// SPDX-License-Identifier: MIT
#pragma once

// The templates that the classes of IDL types are made of, by hand or by the IDL compiler. All of them have
// value semantics, compare with `==` and print with `<<`.

#include <caldane/any_value.h>
#include <caldane/array_value.h>
#include <caldane/bounded_string.h>
#include <caldane/enum_value.h>
#include <caldane/sequence_value.h>
#include <caldane/string.h>
#include <caldane/struct_value.h>
#include <caldane/union_value.h>
#include <caldane/user_exception.h>
