// The resolve side of the merge-tool protocol: the messages it sends the tool,
// the Saved report it reads, and the tool's command line.
#include <cstring>
#include <string>
#include <vector>

#include "hailway/hailway.h"
#include "hailway/hw_twinpane.h"
#include "sccs/kes_conflict.h"
#include "transaction/kes_resolve.h"
#include "util/kes_err.h"
#include "util/kes_msg.h"

namespace {

Kes_err *hw_error(int status) {
  return (new Kes_err)
      ->format_msg(2042, 0, BWM_MSG(14520, "Can't create Hailway message, error = %d"), status);
}

Hw_message request(const char *op, const char *handler) {
  return hw_message_create(op, HW_CLASS_REQUEST, HW_SCOPE_SESSION, HW_ADDRESS_HANDLER, handler);
}

// Sends m, whose answer nobody waits for, and lets it go.
Hw_status send_and_drop(Hw_message m) {
  if (!m) return hw_pointer_error(m);
  Hw_status s = hw_message_send(m);
  hw_message_destroy(m);
  return s;
}

Hw_status send_int(const char *op, const char *handler, int value) {
  Hw_message m = request(op, handler);
  if (m) hw_message_int_arg_add(m, HW_MODE_IN, value);
  return send_and_drop(m);
}

}  // namespace

Kes_err *resolve_send_hw_load_msg(int reuse, Kes_resolve *r, const char *handler, int autosave,
                                  Hw_callback callback) {
  // A new tool is chosen by the service among those registered for Load.
  Hw_message m = hw_message_create(HW_TP_LOAD, HW_CLASS_REQUEST, HW_SCOPE_SESSION,
                                   reuse ? HW_ADDRESS_HANDLER : HW_ADDRESS_PROCEDURE,
                                   reuse ? handler : nullptr);
  if (!m) return hw_error(hw_pointer_error(m));
  bool two_way = !r->ancestor_file;
  Hw_status s = HW_OK;
  auto add_int = [&](int v) {
    if (s == HW_OK) s = hw_message_int_arg_add(m, HW_MODE_IN, v);
  };
  auto add_str = [&](const char *v, Hw_mode mode = HW_MODE_IN) {
    if (s == HW_OK) s = hw_message_string_arg_add(m, mode, v);
  };
  // In the order of Hw_tp_load_arg.
  add_int(reuse);
  add_int(0);
  add_str(r->ancestor_file);
  add_str(two_way ? "Child" : "Child vs. Ancestor");
  add_str(two_way ? "parent" : "Parent vs. Ancestor");
  add_str(nullptr);
  add_str(r->child_file);
  add_str(r->parent_file);
  add_str(r->merged_file, HW_MODE_INOUT);
  add_str(r->path);
  add_str("Merged Result");
  add_int(1);
  add_int(autosave);
  add_str(r->path);
  if (s == HW_OK && callback) s = hw_message_callback_add(m, callback);
  if (s == HW_OK) s = hw_message_send(m);
  if (s != HW_OK || !callback) hw_message_destroy(m);
  return s == HW_OK ? nullptr : hw_error(s);
}

Hw_status resolve_send_hw_footer_msg(const char *handler, const char *text, int flag) {
  Hw_message m = request(HW_TP_SET_LFTR, handler);
  if (m) {
    hw_message_string_arg_add(m, HW_MODE_IN, text);
    hw_message_int_arg_add(m, HW_MODE_IN, flag);
  }
  return send_and_drop(m);
}

Hw_status resolve_send_hw_quit_msg(const char *handler) {
  return send_int(HW_TP_QUIT, handler, 1);
}

Hw_status resolve_send_hw_unload_msg(const char *handler) {
  Hw_status s = resolve_send_hw_footer_msg(handler, " ", 0);
  return s == HW_OK ? send_int(HW_TP_UNLOAD, handler, 1) : s;
}

Kes_err *resolve_get_hw_save_msg(Hw_message message, Kes_workspace *ws, Kes_resolve **out,
                                 int *took_parent, int *took_child) {
  *out = nullptr;
  *took_parent = *took_child = 0;
  const char *names[4] = {nullptr, nullptr, nullptr, nullptr};
  Hw_status s = hw_message_args_count(message) >= HW_TP_SAVED_COUNT ? HW_OK : HW_ERR_NUM;
  for (int i = HW_TP_SAVED_ANCESTOR; s == HW_OK && i <= HW_TP_SAVED_MERGED; i++)
    s = hw_message_arg_string(message, i, &names[i]);
  if (s == HW_OK) s = hw_message_arg_int(message, HW_TP_SAVED_TOOK_PARENT, took_parent);
  if (s == HW_OK) s = hw_message_arg_int(message, HW_TP_SAVED_TOOK_CHILD, took_child);
  if (s != HW_OK)
    return (new Kes_err)
        ->format_msg(2073, 0, BWM_MSG(14521, "Can't read the merge tool's report, error = %d"),
                     static_cast<int>(s));
  // The clear file is the child's name less ".C.XXXXXX".
  const char *child = names[HW_TP_SAVED_CHILD];
  std::string path = child && strlen(child) > 9 ? std::string(child, strlen(child) - 9) : "";
  Kes_resolve *r = new Kes_resolve;
  Kes_err *err = r->set_names(path.c_str(), names[HW_TP_SAVED_ANCESTOR], child,
                              names[HW_TP_SAVED_PARENT], names[HW_TP_SAVED_MERGED], ws);
  if (err) {
    delete r;
    return err;
  }
  *out = r;
  return nullptr;
}

std::vector<std::string> resolve_twinpane_command(const char *program, const char *procid,
                                                  Kes_resolve *r) {
  if (procid) return {program, "-T", procid};
  std::vector<std::string> argv = {program, "-x"};
  bool two_way = !r->ancestor_file;
  if (!two_way) argv.insert(argv.end(), {"-a", r->ancestor_file});
  argv.insert(argv.end(), {"-f1", two_way ? "Child" : "Child vs. Ancestor", "-f2",
                           two_way ? "Parent" : "Parent vs. Ancestor", "-f3", "Merged Result",
                           "-ft", r->path, r->child_file, r->parent_file, r->merged_file});
  return argv;
}
