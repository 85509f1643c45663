// SPDX-License-Identifier: MIT
#include <caldane/ior.h>

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <utility>

#include <caldane/basic.h>

namespace {

/// A profile of a transport that is not here: carries its body along.
class OpaqueProfile final : public _IOP_ProfileBase {
public:
    OpaqueProfile(_Caldane_ULong tag, const _IOP_OctetSeq& body) : _IOP_ProfileBase(tag), body_(body) {}
    _IOP_OctetSeq data() const override { return body_; }

private:
    _IOP_OctetSeq body_;
};

struct FactoryTable {
    std::shared_mutex mutex;
    std::vector<std::pair<_Caldane_ULong, _IOP_ProfileFactory*>> entries;
};

/// Never destroyed: factories may go later than any other static.
FactoryTable& factories() {
    static FactoryTable* const table = new FactoryTable;
    return *table;
}

}  // namespace

_IOP_OctetSeq::_IOP_OctetSeq(const _Caldane_String& text) {
    if (!text.is_null()) octets_.assign(text.c_str(), static_cast<std::size_t>(text.length()));
}

_IOP_OctetSeq::_IOP_OctetSeq(const unsigned char* octets, std::size_t length)
    : octets_(reinterpret_cast<const char*>(octets), length) {}

_Caldane_String _IOP_OctetSeq::as_string() const {
    return _Caldane_String(std::string_view(octets_));
}

_IOP_ProfileBase::~_IOP_ProfileBase() = default;

_Caldane_Transport_RPC_Client* _IOP_ProfileBase::binding() {
    return nullptr;
}

void _IOP_ProfileBase::unbind() {}

const void* _IOP_ProfileBase::_safe_cast(const void*) const {
    return nullptr;
}

void* _IOP_ProfileBase::_safe_cast(const void*) {
    return nullptr;
}

_Caldane_String _IOP_ProfileBase::impl_text() const {
    return _Caldane_String();
}

_Caldane_String _IOP_ProfileBase::path_text() const {
    return _Caldane_String();
}

_IOP_Profile _IOP_ProfileBase::create_handle() {
    return _IOP_Profile(this);
}

_IOP_Profile::_IOP_Profile(_IOP_ProfileBase* profile) noexcept : base(profile) {
    if (base != nullptr) base->handles.fetch_add(1, std::memory_order_relaxed);
}

_IOP_Profile::_IOP_Profile(_Caldane_ULong tag, const _IOP_OctetSeq& data) {
    FactoryTable& table = factories();
    const std::shared_lock lock(table.mutex);
    const auto found = std::find_if(table.entries.begin(), table.entries.end(),
                                    [tag](const auto& entry) { return entry.first == tag; });
    base = found != table.entries.end() ? found->second->create(tag, data) : new OpaqueProfile(tag, data);
    if (base != nullptr) base->handles.fetch_add(1, std::memory_order_relaxed);
}

_IOP_Profile::_IOP_Profile(const _IOP_Profile& other) noexcept : _IOP_Profile(other.base) {}

_IOP_Profile& _IOP_Profile::operator=(const _IOP_Profile& other) noexcept {
    return *this = _IOP_Profile(other);
}

_IOP_Profile& _IOP_Profile::operator=(_IOP_Profile&& other) noexcept {
    std::swap(base, other.base);
    return *this;
}

_IOP_Profile::~_IOP_Profile() {
    if (base != nullptr && base->handles.fetch_sub(1, std::memory_order_acq_rel) == 1) delete base;
}

bool operator==(const _IOP_Profile& a, const _IOP_Profile& b) {
    if (a.base == b.base) return true;
    return a.base != nullptr && b.base != nullptr && a.tag() == b.tag() && a.data() == b.data();
}

void _IOP_ProfileFactory::register_factory(_Caldane_ULong tag, _IOP_ProfileFactory* factory) {
    FactoryTable& table = factories();
    const std::unique_lock lock(table.mutex);
    std::erase_if(table.entries, [tag](const auto& entry) { return entry.first == tag; });
    if (factory != nullptr) table.entries.emplace_back(tag, factory);
}

_IOP_ProfileFactory::~_IOP_ProfileFactory() {
    FactoryTable& table = factories();
    const std::unique_lock lock(table.mutex);
    std::erase_if(table.entries, [this](const auto& entry) { return entry.second == this; });
}

_IOP_ProfileList::_IOP_ProfileList(const _IOP_ProfileList& other) : RUSK_List<_IOP_Profile>() {
    push_back_all(other);
}

void _IOP_ProfileList::append(const _IOP_Profile& profile) {
    push_back(profile);
}

_IOP_ProfileIter::_IOP_ProfileIter(const std::vector<_IOP_Profile>& all, bool any_tag,
                                   _Caldane_ULong wanted_tag)
    : profiles(&all), any(any_tag), tag(wanted_tag) {
    skip();
}

_IOP_ProfileIter::~_IOP_ProfileIter() = default;

void _IOP_ProfileIter::skip() {
    while (index < profiles->size() && !any && (*profiles)[index].tag() != tag) ++index;
}

const _IOP_Profile* _IOP_ProfileIter::current() const {
    return index < profiles->size() ? &(*profiles)[index] : nullptr;
}

bool _IOP_ProfileIter::current(_IOP_Profile& out) const {
    const _IOP_Profile* profile = current();
    if (profile != nullptr) out = *profile;
    return profile != nullptr;
}

bool _IOP_ProfileIter::next() {
    if (index == profiles->size()) return false;
    ++index;
    skip();
    return true;
}

void _IOP_ProfileList::copy_to(std::vector<_IOP_Profile>& out) const {
    RUSK_ListIter<_IOP_Profile> iter(*this);
    for (_IOP_Profile profile; iter.current(&profile); iter.next()) out.push_back(profile);
}
