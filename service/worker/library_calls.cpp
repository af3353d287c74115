#include "worker/library_calls.h"

#include "database/library_facts.h"
#include "worker/file_calls.h"

// The sweep leaves the labels of what it takes; the delete of a file takes all that nobody carries any more.
ItemResult LibraryCalls::Sweep(const WorkItem& item) {
  ItemResult swept = answers_.ResultOf(plugin_.IndexPostReindex(item.path.c_str()));
  if (!swept.done()) return swept;
  static_cast<void>(plugin_.IndexDelete((item.path + "/" + kHiddenPrefix).c_str()));
  return NoteMarked(rows_.Database(), false) ? swept : answers_.DatabaseNotAsked();
}

// Noted with the marks, so that a run that ends early leaves none that nobody knows of.
ItemResult LibraryCalls::Mark(const WorkItem& item) {
  ItemResult marked = answers_.ResultOf(plugin_.IndexPreReindex(item.path.c_str()));
  if (!marked.done()) return marked;
  return NoteMarked(rows_.Database(), true) ? marked : answers_.DatabaseNotAsked();
}

ItemResult LibraryCalls::Unmark() {
  return UnmarkRows(rows_.Database()) && NoteMarked(rows_.Database(), false) ? ItemResult::Stored()
                                                                             : answers_.DatabaseNotAsked();
}

ItemResult LibraryCalls::NoteMounts(const WorkItem& item) {
  return ::NoteMounts(rows_.Database(), item.from) ? ItemResult::Stored() : answers_.DatabaseNotAsked();
}
