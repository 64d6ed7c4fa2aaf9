// Kes_list, Kes_listelem and Kes_strlist.
#include "util/kes_list.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/kes_heap.h"
#include "util/kes_init.h"
#include "util/kes_str.h"

namespace {
Kes_heap *listelem_heap = nullptr;

// What sort hands to qsort: the datum first, so that a pointer to an entry is a
// pointer to the data pointer.
struct Sort_entry {
  void *data;
  Kes_listelem *elem;
};
}  // namespace

void *Kes_listelem::operator new(size_t size) {
  return kes_heap_new(&listelem_heap, size, 500);
}

void Kes_listelem::operator delete(void *p) { kes_heap_delete(listelem_heap, p); }

void kes_listelem_delete_heap() { kes_heap_destroy(&listelem_heap); }

Kes_list::~Kes_list() {
  while (head.next != &head) delete_elem_wrapper(head.next);
}

Kes_listelem *Kes_list::add_new_data(void *data) {
  Kes_listelem *e = new Kes_listelem(data);
  insert_tail(e);
  return e;
}

Kes_listelem *Kes_list::add_new_copy(void *data) { return add_new_data(copy_data(data)); }

void *Kes_list::add_new_elem() { return add_new_data(create_data())->data; }

Kes_listelem *Kes_list::create_elem() { return new Kes_listelem(create_data()); }

void Kes_list::insert_head(Kes_listelem *elem) { insert_after(&head, elem); }

void Kes_list::insert_tail(Kes_listelem *elem) { insert_before(&head, elem); }

void Kes_list::insert_before(Kes_listelem *where, Kes_listelem *elem) {
  elem->prev = where->prev;
  elem->next = where;
  where->prev->next = elem;
  where->prev = elem;
  count++;
}

void Kes_list::insert_after(Kes_listelem *where, Kes_listelem *elem) {
  insert_before(where->next, elem);
}

void Kes_list::remove_elem(Kes_listelem *elem) {
  if (!elem->linked()) return;
  elem->prev->next = elem->next;
  elem->next->prev = elem->prev;
  elem->next = elem->prev = elem;
  count--;
}

void Kes_list::delete_elem(Kes_listelem *elem) {
  remove_elem(elem);
  delete_data(elem->data);
  delete elem;
}

void Kes_list::delete_elem_wrapper(Kes_listelem *elem) {
  remove_elem(elem);
  delete elem;
}

void Kes_list::clear() {
  while (head.next != &head) delete_elem(head.next);
}

void Kes_list::delete_wrapper() {
  while (head.next != &head) delete_elem_wrapper(head.next);
  delete this;
}

void Kes_list::append(Kes_list *other) {
  if (!other || other == this) return;
  if (other->count > 0) {
    Kes_listelem *first = other->head.next, *last = other->head.prev;
    first->prev = head.prev;
    last->next = &head;
    head.prev->next = first;
    head.prev = last;
    count += other->count;
    other->head.next = other->head.prev = &other->head;
    other->count = 0;
  }
  delete other;
}

Kes_list *Kes_list::copy() {
  Kes_list *l = create_list();
  for (Kes_listelem *e = head.next; e != &head; e = e->next) l->add_new_copy(e->data);
  return l;
}

int Kes_list::compare(Kes_list *other) {
  if (other == this) return 1;
  if (!other || other->count != count) return 0;
  for (Kes_listelem *a = head.next, *b = other->head.next; a != &head; a = a->next, b = b->next)
    if (compare_datas(a->data, b->data) != 1) return 0;
  return 1;
}

Kes_listelem *Kes_list::find_elem(void *data) {
  for (Kes_listelem *e = head.next; e != &head; e = e->next)
    if (compare_datas(e->data, data) == 1) return e;
  return nullptr;
}

void *Kes_list::search(int (*fn)(void *data, void *arg), void *arg) {
  Kes_listelem *e = search_elem(fn, arg);
  return e ? e->data : nullptr;
}

Kes_listelem *Kes_list::search_elem(int (*fn)(void *data, void *arg), void *arg) {
  for (Kes_listelem *e = head.next, *n; e != &head; e = n) {
    n = e->next;
    if (fn(e->data, arg) == 1) return e;
  }
  return nullptr;
}

void Kes_list::iterate(void (*fn)(void *data, void *arg), void *arg) {
  for (Kes_listelem *e = head.next, *n; e != &head; e = n) {
    n = e->next;
    fn(e->data, arg);
  }
}

int Kes_list::iterate_or(int (*fn)(void *data, void *arg), void *arg) {
  for (Kes_listelem *e = head.next, *n; e != &head; e = n) {
    n = e->next;
    if (int r = fn(e->data, arg)) return r;
  }
  return 0;
}

void Kes_list::sort(int (*cmp)(const void *a, const void *b)) {
  int n = count;
  if (n < 2) return;
  Sort_entry *v = static_cast<Sort_entry *>(malloc(n * sizeof(Sort_entry)));
  if (!v) kes_new_handler();
  int i = 0;
  for (Kes_listelem *e = head.next; e != &head; e = e->next) v[i++] = {e->data, e};
  qsort(v, n, sizeof(Sort_entry), cmp);
  head.next = head.prev = &head;
  count = 0;
  for (i = 0; i < n; i++) {
    v[i].elem->next = v[i].elem->prev = v[i].elem;
    insert_tail(v[i].elem);
  }
  free(v);
}

void Kes_list::print() {
  for (Kes_listelem *e = head.next; e != &head; e = e->next) print_data(e->data);
}

Kes_strlist::~Kes_strlist() { clear(); }

Kes_list *Kes_strlist::create_list() { return new Kes_strlist; }

void *Kes_strlist::create_data() { return kes_strdup(""); }

void *Kes_strlist::copy_data(void *data) { return kes_strdup(static_cast<char *>(data)); }

void Kes_strlist::delete_data(void *data) { kes_str_delete(static_cast<char *>(data)); }

void Kes_strlist::print_data(void *data) {
  const char *s = static_cast<const char *>(data);
  fprintf(stderr, "\t%lx %s\n", (unsigned long)(uintptr_t)data, s ? s : "(null)");
}

int Kes_strlist::compare_datas(void *a, void *b) {
  return kes_str_compare(static_cast<char *>(a), static_cast<char *>(b));
}

int kes_strlist_compare(const void *a, const void *b) {
  const char *x = *static_cast<char *const *>(a);
  const char *y = *static_cast<char *const *>(b);
  if (!x || !y) return (x != nullptr) - (y != nullptr);  // null sorts first
  return strcmp(x, y);
}
