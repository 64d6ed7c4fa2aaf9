// SSListNode: the toolkit's doubly linked list.
#include "toolkit/ss_list.h"

SSListNode *SSListNode::getPrev() const {
  // Only the head's back link points at a node whose next is null (the last),
  // unless the list has one node, whose back link is itself.
  if (prev_ == this || prev_->next_ == nullptr) return nullptr;
  return prev_;
}

SSListNode *SSListNode::getFirst() {
  SSListNode *n = this;
  while (SSListNode *p = n->getPrev()) n = p;
  return n;
}

SSListNode *SSListNode::getLast(SSListNode *list) { return list ? list->prev_ : nullptr; }

SSListNode *SSListNode::insertAfter(SSListNode **list, SSListNode *where, void *data) {
  if (!*list || !where) return append(list, data);
  SSListNode *n = new SSListNode(data);
  n->prev_ = where;
  n->next_ = where->next_;
  if (where->next_)
    where->next_->prev_ = n;
  else
    (*list)->prev_ = n;
  where->next_ = n;
  return n;
}

SSListNode *SSListNode::insertBefore(SSListNode **list, SSListNode *where, void *data) {
  if (!*list || !where) return append(list, data);
  SSListNode *n = new SSListNode(data);
  if (where == *list) {
    n->prev_ = where->prev_;
    n->next_ = where;
    where->prev_ = n;
    *list = n;
  } else {
    n->prev_ = where->prev_;
    n->next_ = where;
    where->prev_->next_ = n;
    where->prev_ = n;
  }
  return n;
}

SSListNode *SSListNode::append(SSListNode **list, void *data) {
  SSListNode *n = new SSListNode(data);
  if (!*list) {
    *list = n;
  } else {
    SSListNode *last = (*list)->prev_;
    last->next_ = n;
    n->prev_ = last;
    (*list)->prev_ = n;
  }
  return n;
}

void SSListNode::unlink(SSListNode **list, SSListNode *node) {
  SSListNode *head = *list;
  if (node == head) {
    *list = node->next_;
    if (node->next_) node->next_->prev_ = node->prev_;
  } else {
    node->prev_->next_ = node->next_;
    if (node->next_)
      node->next_->prev_ = node->prev_;
    else
      head->prev_ = node->prev_;
  }
  node->prev_ = node;
  node->next_ = nullptr;
}

void SSListNode::remove(SSListNode **list, SSListNode *node) {
  unlink(list, node);
  delete node;
}

void SSListNode::destroy(SSListNode **list) {
  SSListNode *n = *list;
  while (n) {
    SSListNode *next = n->next_;
    delete n;
    n = next;
  }
  *list = nullptr;
}

SSListNode *SSListNode::dup(const SSListNode *list) {
  SSListNode *copy = nullptr;
  for (const SSListNode *n = list; n; n = n->next_) append(&copy, n->data_);
  return copy;
}

void SSListNode::concat(SSListNode **list, SSListNode **tail) {
  if (!*tail) return;
  if (!*list) {
    *list = *tail;
  } else {
    SSListNode *last = (*list)->prev_, *tail_last = (*tail)->prev_;
    last->next_ = *tail;
    (*tail)->prev_ = last;
    (*list)->prev_ = tail_last;
  }
  *tail = nullptr;
}

SSListNode *SSListNode::find(SSListNode *list, const void *data) {
  for (SSListNode *n = list; n; n = n->next_)
    if (n->data_ == data) return n;
  return nullptr;
}

int SSListNode::traverse(SSListNode *list, int (*fn)(void *, void *), void *arg) {
  for (SSListNode *n = list; n;) {
    SSListNode *next = n->next_;  // fn may remove n
    if (int r = fn(n->data_, arg)) return r;
    n = next;
  }
  return 0;
}

int SSListNode::getNumElements(const SSListNode *list) {
  int count = 0;
  for (const SSListNode *n = list; n; n = n->next_) count++;
  return count;
}
