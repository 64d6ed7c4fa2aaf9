// The engine objects of the three transactions, as the output parser sees them.
#include "gui/kes_gui_engine.h"

#include "transaction/kes_bringover.h"
#include "transaction/kes_putback.h"
#include "transaction/kes_undo.h"

// Made without arguments, the objects only answer their words: nothing is
// parsed, opened or locked.
Kes_gui_engine *kes_gui_make_bringover_engine() {
  return new Kes_gui_engine_of<Kes_bringover>(new Kes_bringover(0, nullptr));
}

Kes_gui_engine *kes_gui_make_putback_engine() {
  return new Kes_gui_engine_of<Kes_putback>(new Kes_putback(0, nullptr));
}

Kes_gui_engine *kes_gui_make_undo_engine() {
  return new Kes_gui_engine_of<Kes_undo>(new Kes_undo(0, nullptr));
}
