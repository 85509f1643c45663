// SPDX-License-Identifier: MIT
#pragma once

#include <caldane/dynamic_types.h>
#include <caldane/tx_type.h>

namespace Caldane {

/// A sequence or array of a type made at run time, with its initial content; null when memory ends and where
/// the elements have no values. Primitives lie in one block, as in generated classes.
_Caldane_TxType* make_dynamic_list(const DynamicListType& type);

}  // namespace Caldane
