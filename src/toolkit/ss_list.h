// SSListNode, the doubly linked list of the drawing toolkit, and the key data
// records that users hang on rectangle objects.
//
// A list is held as a pointer to its first node; an empty list is a null pointer.
// Operations that may change the first node take the holder's pointer.  The first
// node's back link points at the last node, so appending and walking backwards
// from the end cost nothing; getPrev() hides this and answers null at the head.
// Lists never own the data they carry: destroy() frees the nodes only.
#ifndef BRINDLE_TOOLKIT_SS_LIST_H
#define BRINDLE_TOOLKIT_SS_LIST_H

class SSRectobj;

class SSListNode {
public:
  explicit SSListNode(void *data = nullptr) : data_(data) {}

  void *getData() const { return data_; }
  void setData(void *data) { data_ = data; }
  SSListNode *getNext() const { return next_; }
  SSListNode *getPrev() const;  // null at the head

  // The head and the last node of the list this node is in.
  SSListNode *getFirst();
  static SSListNode *getLast(SSListNode *list);

  // New node with data after or before where; returns it.
  static SSListNode *insertAfter(SSListNode **list, SSListNode *where, void *data);
  static SSListNode *insertBefore(SSListNode **list, SSListNode *where, void *data);
  static SSListNode *append(SSListNode **list, void *data);
  // Takes node out of the list; the node lives on, alone.
  static void unlink(SSListNode **list, SSListNode *node);
  // Takes node out of the list and frees it.
  static void remove(SSListNode **list, SSListNode *node);
  // Frees every node; *list becomes empty.
  static void destroy(SSListNode **list);
  // A new list with the same data in the same order.
  static SSListNode *dup(const SSListNode *list);
  // Moves every node of *tail to the end of *list; *tail becomes empty.
  static void concat(SSListNode **list, SSListNode **tail);
  static SSListNode *find(SSListNode *list, const void *data);
  // Calls fn on each datum in order until it answers nonzero; returns that answer.
  static int traverse(SSListNode *list, int (*fn)(void *data, void *arg), void *arg);
  static int getNumElements(const SSListNode *list);

private:
  SSListNode *prev_ = this;  // at the head: the last node
  SSListNode *next_ = nullptr;
  void *data_;
};

// Called when key data goes away with its object or by deleteKeyData.
typedef void (*SSKeyDataCleanup)(SSRectobj *obj, int key, void *value);

struct SSKeyDataListNode {
  int key;
  void *value;
  SSKeyDataCleanup cleanup;
};

#endif
