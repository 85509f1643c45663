// SPDX-License-Identifier: MIT
#pragma once

#include <pelthread/memory.h>

#include <cstdint>

template <class T>
class RUSK_ListIter;

/// One place of a list. It owns its copy of the item.
template <class T>
class RUSK_ListNode {
public:
    PEL_HEAP_OBJECT

    explicit RUSK_ListNode(const T& value) : item(value) {}
    virtual ~RUSK_ListNode() = default;

    RUSK_ListNode* previous = nullptr;
    RUSK_ListNode* next = nullptr;
    T item;
};

/// A doubly linked list of copies of items, which are compared by their own ==. No lock: one thread at a
/// time. What adds items gives false, with the list as it was or with those added that found memory, when
/// memory ends.
template <class T>
class RUSK_AbstractList {
public:
    RUSK_AbstractList(const RUSK_AbstractList&) = delete;
    RUSK_AbstractList& operator=(const RUSK_AbstractList&) = delete;
    virtual ~RUSK_AbstractList() = default;

    /// Puts the items of `other` (this list itself is allowed), in their order, in front.
    virtual bool push_front_all(const RUSK_AbstractList& other) = 0;
    virtual bool push_front(const T& item) = 0;
    /// Puts the items of `other` (this list itself is allowed), in their order, behind.
    virtual bool push_back_all(const RUSK_AbstractList& other) = 0;
    virtual bool push_back(const T& item) = 0;

    /// Takes the first or last item away, into `out` unless that is null; false if there is none.
    virtual bool pop_front(T* out) = 0;
    virtual bool pop_back(T* out) = 0;

    /// Takes away the first item that equals `item`; false if there is none.
    virtual bool remove(const T& item) = 0;
    [[nodiscard]] virtual bool contains(const T& item) const = 0;

    /// Copies the first or last item into `out` unless that is null; false if there is none.
    virtual bool front(T* out) const = 0;
    virtual bool back(T* out) const = 0;

    [[nodiscard]] virtual std::uint32_t count() const = 0;

protected:
    friend class RUSK_ListIter<T>;
    using Node = RUSK_ListNode<T>;

    RUSK_AbstractList() = default;

    /// The ends of another list, which a derived class may otherwise not touch.
    static Node* head_of(const RUSK_AbstractList& list) { return list.head; }
    static Node* tail_of(const RUSK_AbstractList& list) { return list.tail; }

    Node* head = nullptr;
    Node* tail = nullptr;
    std::uint32_t length = 0;
};

/// The operations of a list.
template <class T>
class RUSK_ListImp : public RUSK_AbstractList<T> {
public:
    ~RUSK_ListImp() override {
        while (RUSK_ListImp::pop_front(nullptr)) {
        }
    }

    bool push_front_all(const RUSK_AbstractList<T>& other) override {
        Node* node = this->tail_of(other);
        // Counted, not walked to the end: a list that is put in front of itself grows while it is walked.
        for (std::uint32_t left = other.count(); left > 0; --left, node = node->previous) {
            if (!push_front(node->item)) return false;
        }
        return true;
    }

    bool push_front(const T& item) override {
        Node* node = new Node(item);
        if (node == nullptr) return false;
        node->next = this->head;
        (this->head != nullptr ? this->head->previous : this->tail) = node;
        this->head = node;
        ++this->length;
        return true;
    }

    bool push_back_all(const RUSK_AbstractList<T>& other) override {
        Node* node = this->head_of(other);
        for (std::uint32_t left = other.count(); left > 0; --left, node = node->next) {
            if (!push_back(node->item)) return false;
        }
        return true;
    }

    bool push_back(const T& item) override {
        Node* node = new Node(item);
        if (node == nullptr) return false;
        node->previous = this->tail;
        (this->tail != nullptr ? this->tail->next : this->head) = node;
        this->tail = node;
        ++this->length;
        return true;
    }

    bool pop_front(T* out) override { return pop(this->head, out); }
    bool pop_back(T* out) override { return pop(this->tail, out); }

    bool remove(const T& item) override {
        Node* node = find(item);
        if (node == nullptr) return false;
        unlink(node);
        return true;
    }

    bool contains(const T& item) const override { return find(item) != nullptr; }
    bool front(T* out) const override { return copy(this->head, out); }
    bool back(T* out) const override { return copy(this->tail, out); }
    std::uint32_t count() const override { return this->length; }

protected:
    using Node = RUSK_ListNode<T>;

    RUSK_ListImp() = default;

private:
    static bool copy(const Node* node, T* out) {
        if (node == nullptr) return false;
        if (out != nullptr) *out = node->item;
        return true;
    }

    bool pop(Node* node, T* out) {
        if (!copy(node, out)) return false;
        unlink(node);
        return true;
    }

    Node* find(const T& item) const {
        Node* node = this->head;
        while (node != nullptr && !(node->item == item)) node = node->next;
        return node;
    }

    void unlink(Node* node) {
        (node->previous != nullptr ? node->previous->next : this->head) = node->next;
        (node->next != nullptr ? node->next->previous : this->tail) = node->previous;
        --this->length;
        delete node;
    }
};

template <class T>
class RUSK_List : public RUSK_ListImp<T> {
public:
    PEL_HEAP_OBJECT

    RUSK_List() = default;
};

/// Walks a list in both directions, beginning at the head. Does not own the list, and nothing guards it
/// against the removal of the node where it stands.
template <class T>
class RUSK_ListIter {
public:
    PEL_HEAP_OBJECT

    explicit RUSK_ListIter(const RUSK_AbstractList<T>& walked) : list(&walked), node(walked.head) {}
    virtual ~RUSK_ListIter() = default;

    /// The address of the current item in its node; false, and `out` untouched, past either end.
    virtual bool current_node(T** out) const {
        if (node == nullptr) return false;
        if (out != nullptr) *out = &node->item;
        return true;
    }

    /// The same with a copy of the item.
    virtual bool current(T* out) const {
        if (node == nullptr) return false;
        if (out != nullptr) *out = node->item;
        return true;
    }

    /// Steps back, from before the beginning to the tail; true if there was a current item.
    virtual bool previous() {
        const bool stood = node != nullptr;
        node = stood ? node->previous : list->tail;
        return stood;
    }

    /// Steps on, from past the end to the head; true if there was a current item.
    virtual bool next() {
        const bool stood = node != nullptr;
        node = stood ? node->next : list->head;
        return stood;
    }

private:
    const RUSK_AbstractList<T>* list;
    RUSK_ListNode<T>* node;
};
