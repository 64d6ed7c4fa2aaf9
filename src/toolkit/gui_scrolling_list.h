// Gui_scrolling_list, a helper around a Motif list widget: the questions and
// edits that the tool's file lists need, by the items' texts.
#ifndef BRINDLE_TOOLKIT_GUI_SCROLLING_LIST_H
#define BRINDLE_TOOLKIT_GUI_SCROLLING_LIST_H

#include <X11/Intrinsic.h>

#include <string>
#include <vector>

class Gui_scrolling_list {
public:
  explicit Gui_scrolling_list(Widget list) : list_(list) {}

  Widget get_widget() const { return list_; }
  // The item's position, from 1, or 0 when it is not in the list.
  int member_of(const char *item) const;
  // Appends the item at the end, unselected.
  void add_item(const char *item);
  void delete_all();
  // Removes the selected items.
  void delete_selection();
  // The position of the last selected item, from 1, or 0 with none selected.
  int find_last_selection() const;
  void select_all();
  void deselect_all();
  // Appends each item to text, each followed by separator.
  void append_contents_to_string(std::string *text, const char *separator) const;
  // The items, or the selected items, in list order.
  std::vector<std::string> items() const;
  std::vector<std::string> selected_items() const;
  int count() const;

private:
  Widget list_;
};

#endif
