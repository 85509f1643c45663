// SPDX-License-Identifier: MIT
#include <vqsys/handle.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>

#include "last_error.h"
#include "wait_set.h"

namespace {

bool usable(vqHandle handle, int mode) {
    return handle != nullptr && (mode == kVqReadable || mode == kVqWritable);
}

}  // namespace

int vqHandleCreate(vqHandle* handle) {
    if (handle == nullptr) return vq_fail(EINVAL);
    *handle = nullptr;
    std::unique_ptr<vqWaitSet> made(new vqWaitSet);
    if (made == nullptr) return vq_fail(ENOMEM);
    if (const int failure = made->open()) return vq_fail(failure);
    *handle = made.release();
    return VQOK;
}

int vqHandleDestroy(vqHandle handle) {
    delete handle;
    return VQOK;
}

int vqHandleClearAllResources(vqHandle handle) {
    if (handle == nullptr) return vq_fail(EINVAL);
    handle->clear();
    return VQOK;
}

int vqHandleAddResourceMode(vqHandle handle, vqSocket socket, int mode) {
    const int failure = usable(handle, mode) ? handle->add(socket, mode) : EINVAL;
    return failure == 0 ? VQOK : vq_fail(failure);
}

int vqHandleClearResourceMode(vqHandle handle, vqSocket socket, int mode) {
    if (!usable(handle, mode)) return vq_fail(EINVAL);
    handle->remove(socket);
    return VQOK;
}

int vqHandleQueryResource(vqHandle handle, vqSocket socket, int mode) {
    return usable(handle, mode) && handle->is_ready(socket) ? 1 : 0;
}

int vqHandleReady(vqHandle handle, vqSocket* out, int capacity) {
    return handle != nullptr && out != nullptr ? handle->ready_sockets(out, capacity) : 0;
}

int vqBlock(vqHandle handle, const vqTimeout* timeout) {
    constexpr int kMost = INT_MAX / 1000;
    if (timeout == nullptr) return vqBlockFor(handle, -1);
    return vqBlockFor(handle, std::clamp(timeout->seconds, 0, kMost) * 1000);
}

int vqBlockFor(vqHandle handle, int milliseconds) {
    if (handle == nullptr) return vq_fail(EINVAL), -1;
    return handle->wait(milliseconds);
}

int vqUnblock(vqHandle handle, int) {
    if (handle == nullptr) return vq_fail(EINVAL);
    handle->unblock();
    return VQOK;
}
