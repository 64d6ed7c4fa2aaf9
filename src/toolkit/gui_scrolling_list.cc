// Gui_scrolling_list: a Motif list by its items' texts.
#include "toolkit/gui_scrolling_list.h"

#include <Xm/List.h>
#include <Xm/Xm.h>

namespace {

std::string text_of(XmString s) {
  char *text = static_cast<char *>(XmStringUnparse(s, nullptr, XmCHARSET_TEXT, XmCHARSET_TEXT,
                                                   nullptr, 0, XmOUTPUT_ALL));
  std::string out = text ? text : "";
  XtFree(text);
  return out;
}

std::vector<std::string> texts(const XmString *table, int n) {
  std::vector<std::string> out;
  for (int i = 0; i < n; i++) out.push_back(text_of(table[i]));
  return out;
}

}  // namespace

int Gui_scrolling_list::member_of(const char *item) const {
  XmString s = XmStringCreateLocalized(const_cast<char *>(item));
  int pos = XmListItemPos(list_, s);
  XmStringFree(s);
  return pos;
}

void Gui_scrolling_list::add_item(const char *item) {
  XmString s = XmStringCreateLocalized(const_cast<char *>(item));
  XmListAddItemUnselected(list_, s, 0);
  XmStringFree(s);
}

void Gui_scrolling_list::delete_all() { XmListDeleteAllItems(list_); }

void Gui_scrolling_list::delete_selection() {
  int *positions = nullptr, n = 0;
  if (!XmListGetSelectedPos(list_, &positions, &n)) return;
  XmListDeletePositions(list_, positions, n);
  XtFree(reinterpret_cast<char *>(positions));
}

int Gui_scrolling_list::find_last_selection() const {
  int *positions = nullptr, n = 0;
  if (!XmListGetSelectedPos(list_, &positions, &n)) return 0;
  int last = 0;
  for (int i = 0; i < n; i++)
    if (positions[i] > last) last = positions[i];
  XtFree(reinterpret_cast<char *>(positions));
  return last;
}

void Gui_scrolling_list::select_all() {
  unsigned char policy = XmSINGLE_SELECT;
  XtVaGetValues(list_, XmNselectionPolicy, &policy, nullptr);
  // Selecting one by one adds to the selection only in the multiple policy.
  XtVaSetValues(list_, XmNselectionPolicy, XmMULTIPLE_SELECT, nullptr);
  for (int i = 1, n = count(); i <= n; i++)
    if (!XmListPosSelected(list_, i)) XmListSelectPos(list_, i, False);
  XtVaSetValues(list_, XmNselectionPolicy, policy, nullptr);
}

void Gui_scrolling_list::deselect_all() { XmListDeselectAllItems(list_); }

void Gui_scrolling_list::append_contents_to_string(std::string *text,
                                                   const char *separator) const {
  for (const std::string &item : items()) *text += item + separator;
}

std::vector<std::string> Gui_scrolling_list::items() const {
  XmStringTable table = nullptr;
  int n = 0;
  XtVaGetValues(list_, XmNitems, &table, XmNitemCount, &n, nullptr);
  return texts(table, n);
}

std::vector<std::string> Gui_scrolling_list::selected_items() const {
  XmStringTable table = nullptr;
  int n = 0;
  XtVaGetValues(list_, XmNselectedItems, &table, XmNselectedItemCount, &n, nullptr);
  return texts(table, n);
}

int Gui_scrolling_list::count() const {
  int n = 0;
  XtVaGetValues(list_, XmNitemCount, &n, nullptr);
  return n;
}
