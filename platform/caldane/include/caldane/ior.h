// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <pelthread/memory.h>
#include <rusk/list.h>

#include <caldane/boolean.h>
#include <caldane/string.h>

class _Caldane_Transport_Info;
class _Caldane_Transport_RPC_Client;
class _IOP_Profile;

/// Octets by value: the body of a profile, an object key.
class _IOP_OctetSeq {
public:
    _IOP_OctetSeq() = default;
    /// The characters of `text`, without a terminator; a null string gives no octets.
    explicit _IOP_OctetSeq(const _Caldane_String& text);
    _IOP_OctetSeq(const unsigned char* octets, std::size_t length);

    /// The octets as characters.
    _Caldane_String as_string() const;

    const unsigned char* data() const { return reinterpret_cast<const unsigned char*>(octets_.data()); }
    _Caldane_ULong length() const { return static_cast<_Caldane_ULong>(octets_.size()); }
    std::string_view view() const { return octets_; }

    friend bool operator==(const _IOP_OctetSeq& a, const _IOP_OctetSeq& b) { return a.octets_ == b.octets_; }

private:
    std::string octets_;
};

/// One way to reach an object: a tag that names the transport, and a body that only the transport
/// understands. Lives on the heap and goes with the last `_IOP_Profile` handle; handles may be on any thread.
class _IOP_ProfileBase {
public:
    PEL_HEAP_OBJECT
    _IOP_ProfileBase(const _IOP_ProfileBase&) = delete;
    _IOP_ProfileBase& operator=(const _IOP_ProfileBase&) = delete;

    virtual _IOP_OctetSeq data() const = 0;
    /// The client bound to this profile, null if there is none; no reference is added.
    virtual _Caldane_Transport_RPC_Client* binding();
    /// Drops that client.
    virtual void unbind();
    /// This object if `type` is the address of its class's type mark, else null.
    virtual const void* _safe_cast(const void* type) const;
    virtual void* _safe_cast(const void* type);
    virtual _Caldane_String impl_text() const;
    virtual _Caldane_String path_text() const;
    virtual ~_IOP_ProfileBase();

    _Caldane_ULong tag() const { return tag_; }
    _IOP_Profile create_handle();

protected:
    explicit _IOP_ProfileBase(_Caldane_ULong tag) : tag_(tag) {}

private:
    friend class _IOP_Profile;
    const _Caldane_ULong tag_;
    std::atomic<std::int32_t> handles{0};
};

/// A handle to a profile, or to none (invalid). Copies share the profile.
class _IOP_Profile {
public:
    _IOP_Profile() noexcept = default;
    /// Has the factory of `tag` make the profile; without one it holds the body only. Invalid when the
    /// factory refuses the body or memory ends.
    _IOP_Profile(_Caldane_ULong tag, const _IOP_OctetSeq& data);
    _IOP_Profile(const _IOP_Profile& other) noexcept;
    _IOP_Profile(_IOP_Profile&& other) noexcept : base(other.base) { other.base = nullptr; }
    _IOP_Profile& operator=(const _IOP_Profile& other) noexcept;
    _IOP_Profile& operator=(_IOP_Profile&& other) noexcept;
    ~_IOP_Profile();

    bool valid() const { return base != nullptr; }
    /// 0 for an invalid handle.
    _Caldane_ULong tag() const { return base ? base->tag() : 0; }
    /// Empty for an invalid handle.
    _IOP_OctetSeq data() const { return base ? base->data() : _IOP_OctetSeq(); }

    /// The profile itself; null for an invalid handle.
    _IOP_ProfileBase* operator->() { return base; }
    const _IOP_ProfileBase* operator->() const { return base; }

    /// The same profile, or one of the same tag and body.
    friend bool operator==(const _IOP_Profile& a, const _IOP_Profile& b);

private:
    friend class _IOP_ProfileBase;
    explicit _IOP_Profile(_IOP_ProfileBase* profile) noexcept;
    _IOP_ProfileBase* base = nullptr;
};

/// Makes the profile objects of a transport from what stands in references.
class _IOP_ProfileFactory {
public:
    PEL_HEAP_OBJECT
    _IOP_ProfileFactory(const _IOP_ProfileFactory&) = delete;
    _IOP_ProfileFactory& operator=(const _IOP_ProfileFactory&) = delete;

    /// A new profile from its body; null if the body cannot be used or memory ends.
    virtual _IOP_ProfileBase* create(_Caldane_ULong tag, const _IOP_OctetSeq& data) = 0;

    /// Has `factory` make all profiles of `tag` from now on. It stays the caller's; its end unregisters it.
    static void register_factory(_Caldane_ULong tag, _IOP_ProfileFactory* factory);

    virtual ~_IOP_ProfileFactory();

protected:
    _IOP_ProfileFactory() = default;
};

/// The profiles of a reference in their order.
class _IOP_ProfileList : public RUSK_List<_IOP_Profile> {
public:
    _IOP_ProfileList() = default;
    _IOP_ProfileList(const _IOP_ProfileList& other);
    _IOP_ProfileList& operator=(const _IOP_ProfileList& other) = delete;

    /// Adds a copy at the end.
    virtual void append(const _IOP_Profile& profile);

    /// Appends copies of all profiles to `out`.
    void copy_to(std::vector<_IOP_Profile>& out) const;
};

/// Walks the profiles of a reference, all of them or those of one tag. The reference must outlive it.
class _IOP_ProfileIter {
public:
    _IOP_ProfileIter(const std::vector<_IOP_Profile>& all, bool any_tag, _Caldane_ULong wanted_tag);
    virtual ~_IOP_ProfileIter();

    /// The current profile into `out`; false at the end.
    bool current(_IOP_Profile& out) const;
    bool current(_IOP_Profile* out) const { return out != nullptr && current(*out); }
    /// The current profile, null at the end.
    const _IOP_Profile* current() const;
    /// True while there is a current profile.
    explicit operator bool() const { return current() != nullptr; }

    /// Steps on; false if it stood at the end already.
    virtual bool next();

private:
    void skip();

    const std::vector<_IOP_Profile>* profiles;
    std::size_t index = 0;
    bool any;
    _Caldane_ULong tag;
};

/// An object reference: the type's repository id and the profiles by which the object is reached, or a URL.
///
/// Reference-counted, born with one reference. Parts are fixed at birth, so any thread may read; what a
/// transport bound is kept here and guarded.
class _IOP_IOR {
public:
    PEL_HEAP_OBJECT
    _IOP_IOR(const _IOP_IOR&) = delete;
    _IOP_IOR& operator=(const _IOP_IOR&) = delete;

    /// A new reference, the caller's, from a type id and copies of the profiles; null when memory ends.
    static _IOP_IOR* generate(const _Caldane_String& type_id, const _IOP_ProfileList& profile_list);
    /// A new reference that knows nothing but a URL; null when memory ends.
    static _IOP_IOR* from_url(const _Caldane_String& url);

    void _add_ref() noexcept;
    void _release() noexcept;

    const _Caldane_String& type_id() const { return type_id_; }
    /// A null string if the reference did not come from a URL.
    const _Caldane_String& url() const { return url_; }
    bool isSecure() const { return secure.load(std::memory_order_relaxed); }
    void setSecurity(_Caldane_Boolean flag) {
        secure.store(static_cast<bool>(flag), std::memory_order_relaxed);
    }

    /// What the reference is handed on with: for one that came from a URL, what the transports make of it
    /// (to a transport that is just asked to bind: what it was born with, none).
    _IOP_ProfileIter profiles() const { return _IOP_ProfileIter(handed_on(), true, 0); }
    /// Of those that it was born with, the ones of a tag.
    _IOP_ProfileIter profiles(_Caldane_ULong tag) const { return _IOP_ProfileIter(profiles_, false, tag); }
    _IOP_ProfileList getProfileList() const;

    /// The profile that the current call of this thread goes through; outside a call the last one bound.
    _IOP_Profile bound_profile() const;

    /// The text under which people know the object: the URL it came from or was published under, else the
    /// URL in its first profile; a null string if there is none.
    _Caldane_String location() const;
    /// Fixes what `location` says, for an object that this process publishes. Before the reference is shared.
    void publish_location(const _Caldane_String& text) { location_ = text; }

private:
    friend class _Caldane_BoundCall;
    _IOP_IOR() = default;
    ~_IOP_IOR() = default;
    const std::vector<_IOP_Profile>& handed_on() const;

    std::atomic<std::int32_t> references{1};
    std::atomic<bool> secure{false};
    _Caldane_String type_id_;
    _Caldane_String url_;
    _Caldane_String location_;
    std::vector<_IOP_Profile> profiles_;
    mutable std::once_flag url_looked_at;
    mutable std::vector<_IOP_Profile> url_profiles;
    mutable std::mutex bound_mutex;
    _IOP_Profile bound;
};
