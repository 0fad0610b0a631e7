// Shared helpers for the intrusive singly linked lists of the design records.
// Each list is named by its head and the member that links it, so one helper
// serves `Module::nets`, `Net::nodes`, `Instance::next_in_group` and the rest.
#pragma once

#include "db/design.h"

namespace vorp {

// Put `item` in front of the list.
template <class T, auto Next = &T::next, class Head>
void push_front(Head& head, T* item) {
    item->*Next = head;
    head = item;
}

// The last element, or null for an empty list. Linear in the list length.
template <class T, auto Next = &T::next>
T* last_of(T* head) {
    if (!head) return nullptr;
    while (head->*Next) head = head->*Next;
    return head;
}

template <class T, auto Next = &T::next>
T* last_of(const Ref<T>& head) {
    return last_of<T, Next>(static_cast<T*>(head));
}

// Append `item` at the end. Linear in the list length: callers that append
// many items keep a tail instead (see `Tail`).
template <class T, auto Next = &T::next, class Head>
void push_back(Head& head, T* item) {
    item->*Next = nullptr;
    if (T* tail = last_of<T, Next>(head))
        tail->*Next = item;
    else
        head = item;
}

// Appends in constant time while one list is being built in order. The
// head may be a pointer or a link of a record.
template <class T, auto Next = &T::next>
struct Tail {
    T* last;
    template <class Head>
    explicit Tail(Head& list_head)
        : last(last_of<T, Next>(list_head)),
          head_(&list_head),
          set_head_([](void* head, T* item) { *static_cast<Head*>(head) = item; }) {}
    void append(T* item) {
        item->*Next = nullptr;
        if (last)
            last->*Next = item;
        else
            set_head_(head_, item);
        last = item;
    }

   private:
    void* head_;
    void (*set_head_)(void*, T*);
};

// Take `item` out of the list by walking from the head; false when it is not
// on the list. The item's own link is left as it was.
template <class T, auto Next = &T::next, class Head>
bool unlink_from(Head& head, T* item) {
    if (head == item) {
        head = item->*Next;
        return true;
    }
    for (T* p = head; p; p = p->*Next) {
        if (p->*Next == item) {
            p->*Next = item->*Next;
            return true;
        }
    }
    return false;
}

template <class T, auto Next = &T::next>
int list_length(const T* head) {
    int n = 0;
    for (; head; head = head->*Next) ++n;
    return n;
}

// Call `f` on every element; the successor is read before the call, so `f`
// may relink the element it is given.
template <class T, auto Next = &T::next, class F>
void for_each_safe(T* head, F&& f) {
    while (head) {
        T* next = head->*Next;
        f(head);
        head = next;
    }
}

// Call `f` on every node of a `same_inst` ring once, starting at `start`;
// nothing for a null start.
template <class N, class F>
void for_each_in_ring(const Ref<N>& start, F&& f) {
    for_each_in_ring(static_cast<N*>(start), f);
}
template <class N, class F>
void for_each_in_ring(N* start, F&& f) {
    if (!start) return;
    N* n = start;
    do {
        N* next = n->same_inst;
        f(n);
        n = next;
    } while (n && n != start);
}

// The first node of a `same_inst` ring from `start` for which `pred` holds,
// or null; the walk stops there.
template <class N, class P>
N* find_in_ring(N* start, P&& pred) {
    if (!start) return nullptr;
    N* n = start;
    do {
        if (pred(n)) return n;
        n = n->same_inst;
    } while (n && n != start);
    return nullptr;
}

}  // namespace vorp
