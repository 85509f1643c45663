// SPDX-License-Identifier: MIT
#pragma once

#include <vqsys/types.h>

#include <cstdint>

/// How often `vqNetClose` has closed a socket of this number. A wait set that compares this with what it was
/// learns that a number stands for another socket now. Numbers that are 65,536 apart share a count, which
/// can only make one of them look new.
[[nodiscard]] std::uint32_t vq_socket_lives(vqSocket socket);

/// To be called before a socket is closed; after it the number may belong to another thread.
void vq_socket_life_ends(vqSocket socket);
