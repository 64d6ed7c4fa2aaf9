// Kes_gui_engine: what the tool's output parser asks of a transaction engine
// object, so that it compares each output line with the very words that the
// command line programs print, never with a copy of them.
//
// Kes_gui holds one per kind of transaction: the real engine object of
// bringover, putback and ws_undo.
#ifndef BRINDLE_GUI_KES_GUI_ENGINE_H
#define BRINDLE_GUI_KES_GUI_ENGINE_H

class Kes_gui_engine {
public:
  virtual ~Kes_gui_engine() = default;
  // The localised action word of a state: "create", "update", "No changes to ".
  virtual const char *localized_str(int state) = 0;
  // "Bringing over contents changes" and the like; they follow the preview
  // flag.
  virtual const char *get_changes_contents_msg() = 0;
  virtual const char *get_changes_name_msg() = 0;
  virtual void set_preview(int preview) = 0;
};

// A transaction object of class T (made with no arguments) as the parser sees it.
template <class T>
class Kes_gui_engine_of : public Kes_gui_engine {
public:
  explicit Kes_gui_engine_of(T *engine) : engine_(engine) {}
  ~Kes_gui_engine_of() override { delete engine_; }
  Kes_gui_engine_of(const Kes_gui_engine_of &) = delete;
  Kes_gui_engine_of &operator=(const Kes_gui_engine_of &) = delete;
  const char *localized_str(int state) override { return engine_->localized_str(state); }
  const char *get_changes_contents_msg() override { return engine_->get_changes_contents_msg(); }
  const char *get_changes_name_msg() override { return engine_->get_changes_name_msg(); }
  void set_preview(int preview) override { engine_->flags.preview = preview ? 1 : 0; }

private:
  T *engine_;
};

Kes_gui_engine *kes_gui_make_bringover_engine();
Kes_gui_engine *kes_gui_make_putback_engine();
Kes_gui_engine *kes_gui_make_undo_engine();

#endif
