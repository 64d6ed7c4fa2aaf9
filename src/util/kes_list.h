// Circular doubly linked lists whose element types are given by subclasses, and
// the string helpers shared by lists and hash tables.
//
// A list owns its data.  The base class knows nothing of the data: a subclass
// supplies the six data operations.  A base destructor cannot call the derived
// delete_data, so every concrete list's destructor calls clear() itself.
//
// Declaring a typed list (Kes_wslist, Kes_ntlist, ...):
//
//   class Kes_thinglist : public Kes_list {
//   public:
//     ~Kes_thinglist() override { clear(); }
//     Kes_list *create_list() override { return new Kes_thinglist; }
//     void *create_data() override { return new Kes_thing; }
//     void *copy_data(void *d) override { return new Kes_thing(*(Kes_thing *)d); }
//     void delete_data(void *d) override { delete (Kes_thing *)d; }
//     void print_data(void *d) override { ((Kes_thing *)d)->print(); }
//     int compare_datas(void *a, void *b) override { ... 1 if equal ... }
//   };
//
// Walking a list by hand:
//
//   for (Kes_listelem *e = list->head.next; e != &list->head; e = e->next)
//     use((Kes_thing *)e->data);
//
// The iterate and search operations fetch the next element before they call the
// function, so the function may delete the element it is given.
#ifndef BRINDLE_UTIL_KES_LIST_H
#define BRINDLE_UTIL_KES_LIST_H

#include <cstddef>
#include <type_traits>

class Kes_listelem {
public:
  Kes_listelem *next;
  Kes_listelem *prev;
  void *data;

  // A new element links to itself: it is in no list.
  Kes_listelem() : next(this), prev(this), data(nullptr) {}
  explicit Kes_listelem(void *d) : next(this), prev(this), data(d) {}
  Kes_listelem(const Kes_listelem &) = delete;
  Kes_listelem &operator=(const Kes_listelem &) = delete;

  bool linked() const { return next != this; }

  // Elements come from a pool of 500 nodes per block.
  static void *operator new(size_t size);
  static void operator delete(void *p);
};

// Frees the element pool.  Every element made with new becomes invalid.
void kes_listelem_delete_heap();

class Kes_list {
public:
  Kes_listelem head;  // embedded; an empty list's head points to itself
  int count;

  Kes_list() : count(0) {}
  Kes_list(const Kes_list &) = delete;
  Kes_list &operator=(const Kes_list &) = delete;

  // Data operations, defined by every concrete list.
  virtual Kes_list *create_list() = 0;             // new empty list of this class
  virtual void *create_data() = 0;                 // new empty datum
  virtual void *copy_data(void *data) = 0;
  virtual void delete_data(void *data) = 0;
  virtual void print_data(void *data) = 0;         // debugging print
  virtual int compare_datas(void *a, void *b) = 0; // 1 if equal
  // Frees any elements left, but not their data: see the note at the top.
  virtual ~Kes_list();

  // Appends data, which the list then owns.
  Kes_listelem *add_new_data(void *data);
  Kes_listelem *add_new_copy(void *data);  // appends copy_data(data)
  void *add_new_elem();                    // appends create_data(), returns it
  Kes_listelem *create_elem();             // element with create_data(), unlinked

  void insert_head(Kes_listelem *elem);
  void insert_tail(Kes_listelem *elem);
  void insert_before(Kes_listelem *where, Kes_listelem *elem);  // elem before where
  void insert_after(Kes_listelem *where, Kes_listelem *elem);   // elem after where
  void remove_elem(Kes_listelem *elem);          // unlink; count - 1 if it was linked
  void delete_elem(Kes_listelem *elem);          // unlink, delete_data, free element
  void delete_elem_wrapper(Kes_listelem *elem);  // unlink, free element, keep datum
  void clear();                                  // delete_elem on all
  // delete_elem_wrapper on all, then deletes this list: for lists sharing data.
  void delete_wrapper();
  // Moves all of other's elements to the end of this list and deletes other.
  void append(Kes_list *other);
  Kes_list *copy();  // new list of this class with copies of all data
  // 1 if other is this list, or has the same count and equal data in order.
  int compare(Kes_list *other);
  Kes_listelem *find_elem(void *data);  // first with compare_datas = 1, or null

  // The first datum, or element, for which fn(datum, arg) gives 1; else null.
  void *search(int (*fn)(void *data, void *arg), void *arg);
  Kes_listelem *search_elem(int (*fn)(void *data, void *arg), void *arg);

  void iterate(void (*fn)(void *data, void *arg), void *arg);
  // Stops at the first non-zero result of fn and returns it; 0 if none.
  int iterate_or(int (*fn)(void *data, void *arg), void *arg);

  // Calls member on each datum, taken as a T:  list.iterate_data(&T::f, x, y)
  // runs ((T *)datum)->f(x, y) for every datum.
  template <class T, class R, class... P, class... A>
  void iterate_data(R (T::*member)(P...), A &&...args) {
    for (Kes_listelem *e = head.next, *n; e != &head; e = n) {
      n = e->next;
      (static_cast<T *>(e->data)->*member)(args...);
    }
  }
  // Calls a member of this list's own class with each element:
  // list.iterate_elem(&Kes_thinglist::g, x) runs list.g(elem, x) for every
  // element.  The member may delete the element.
  template <class L, class R, class... P, class... A>
  void iterate_elem(R (L::*member)(Kes_listelem *, P...), A &&...args) {
    static_assert(std::is_base_of<Kes_list, L>::value, "member of a list class");
    L *self = static_cast<L *>(this);
    for (Kes_listelem *e = head.next, *n; e != &head; e = n) {
      n = e->next;
      (self->*member)(e, args...);
    }
  }

  // Sorts with qsort.  cmp receives pointers to the data pointers: for a list
  // of strings it compares *(char **)a with *(char **)b.  The elements
  // themselves move, so element pointers held elsewhere stay valid.
  void sort(int (*cmp)(const void *a, const void *b));
  void print();  // print_data on each
};

// A list of strings; copy is strdup (null stays null), delete is free.  A new empty
// datum is an empty string.
class Kes_strlist : public Kes_list {
public:
  ~Kes_strlist() override;
  Kes_list *create_list() override;
  void *create_data() override;
  void *copy_data(void *data) override;
  void delete_data(void *data) override;
  void print_data(void *data) override;  // "\t<address> <string>" on stderr
  int compare_datas(void *a, void *b) override;
};

// qsort comparison for Kes_list::sort on a list of strings, by strcmp.
int kes_strlist_compare(const void *a, const void *b);

#endif
