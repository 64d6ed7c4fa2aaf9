// The engine objects of the three transactions, as the output parser sees them.
#include "gui/kes_gui_engine.h"

#include "transaction/kes_bringover.h"

namespace {

// Stands for an engine that is not built in yet: the action words of the
// table every transaction shares, and no announcement line, so that the
// changes stay uncounted rather than counted against the wrong words.
class Kes_gui_engine_pending : public Kes_gui_engine {
public:
  Kes_gui_engine_pending() : words_(new Kes_bringover(0, nullptr)) {}
  ~Kes_gui_engine_pending() override { delete words_; }
  Kes_gui_engine_pending(const Kes_gui_engine_pending &) = delete;
  Kes_gui_engine_pending &operator=(const Kes_gui_engine_pending &) = delete;
  const char *localized_str(int state) override { return words_->localized_str(state); }
  const char *get_changes_contents_msg() override { return nullptr; }
  const char *get_changes_name_msg() override { return nullptr; }
  void set_preview(int) override {}

private:
  Kes_transaction *words_;
};

}  // namespace

Kes_gui_engine *kes_gui_make_bringover_engine() {
  return new Kes_gui_engine_of<Kes_bringover>(new Kes_bringover(0, nullptr));
}

// When putback is built: new Kes_gui_engine_of<Kes_putback>(new Kes_putback(0, nullptr)).
Kes_gui_engine *kes_gui_make_putback_engine() { return new Kes_gui_engine_pending; }

// When ws_undo is built: new Kes_gui_engine_of<Kes_undo>(new Kes_undo(0, nullptr)).
Kes_gui_engine *kes_gui_make_undo_engine() { return new Kes_gui_engine_pending; }
