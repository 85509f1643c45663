// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/mutex.h>
#include <rusk/list.h>

#include <cstdint>

/// A key and its value in a table.
template <class K, class V>
class RUSK_Pair {
public:
    PEL_HEAP_OBJECT

    RUSK_Pair(const K& first, const V& second) : key(first), value(second) {}

    K key;
    V value;
};

/// A table with chains and a number of buckets that never changes. Hash and compare are plain functions
/// given at construction; keys that compare equal but hash into different buckets are different keys.
/// The table owns its pairs, which hold copies. Operations give 1 or 0.
template <class K, class V>
class RUSK_HashTbl {
public:
    using Pair = RUSK_Pair<K, V>;
    using Bucket = RUSK_List<Pair*>;
    using HashByValue = std::uint32_t (*)(K key);
    using HashByReference = std::uint32_t (*)(const K& key);
    using CompareByValue = int (*)(K a, K b);  ///< 0 for equal
    using CompareByReference = int (*)(const K& a, const K& b);

    RUSK_HashTbl(const RUSK_HashTbl&) = delete;
    RUSK_HashTbl& operator=(const RUSK_HashTbl&) = delete;
    virtual ~RUSK_HashTbl();

    /// 0 if the key is there already, whose value stays, or if memory ends.
    virtual int insert(const K& key, const V& value);

    /// Takes the key out; its value goes to `value_out` unless that is null. 0 if it is not there.
    virtual int remove(const K& key, V* value_out);

    /// Gives the key a new value, or enters it. 0 if memory ends.
    virtual int set(const K& key, const V& value);

    /// 1 if the key is there, and its value into `value_out` unless that is null; else nothing is touched.
    virtual int lookup(const K& key, V* value_out);

    [[nodiscard]] virtual std::uint32_t count() { return entry_count; }

    /// Deletes all pairs.
    virtual void clear();

    /// A new list of all pairs, bucket by bucket; null if memory ends. The list is the caller's, the pairs
    /// stay the table's.
    [[nodiscard]] virtual Bucket* entries() = 0;

protected:
    /// The process stops if there is no memory for the buckets. A `bucket_total` of 0 counts as 1.
    RUSK_HashTbl(std::uint32_t bucket_total, HashByValue hash, CompareByValue compare);
    RUSK_HashTbl(std::uint32_t bucket_total, HashByReference hash, CompareByReference compare);

    Bucket*& bucket_of(const K& key);
    Pair* find(const K& key);

    std::int32_t by_reference;
    HashByValue hash_value = nullptr;
    HashByReference hash_reference = nullptr;
    CompareByValue compare_value = nullptr;
    CompareByReference compare_reference = nullptr;
    std::uint32_t bucket_count;
    std::uint32_t entry_count = 0;
    Bucket** buckets;

private:
    void make_buckets();
    bool equal(const K& a, const K& b) const;
};

/// The same for several threads: all but `count` and `clear` take the table's lock.
template <class K, class V>
class RUSK_LockedHashTbl : public RUSK_HashTbl<K, V> {
public:
    PEL_HEAP_OBJECT
    using Base = RUSK_HashTbl<K, V>;
    using typename Base::Bucket;

    RUSK_LockedHashTbl(std::uint32_t bucket_total, typename Base::HashByValue hash,
                       typename Base::CompareByValue compare)
        : Base(bucket_total, hash, compare) {}
    RUSK_LockedHashTbl(std::uint32_t bucket_total, typename Base::HashByReference hash,
                       typename Base::CompareByReference compare)
        : Base(bucket_total, hash, compare) {}
    ~RUSK_LockedHashTbl() override;

    int insert(const K& key, const V& value) override;
    int remove(const K& key, V* value_out) override;
    int set(const K& key, const V& value) override;
    int lookup(const K& key, V* value_out) override;
    [[nodiscard]] Bucket* entries() override;

private:
    PEL_Mutex own_mutex;
    PEL_Mutex* mutex = &own_mutex;
};

#include <rusk/rusk_hash_tbl_imp>
