// The last question of a full reindex: which of the rows that it has not met may go.
#ifndef SERVICE_RUN_SWEEP_H_
#define SERVICE_RUN_SWEEP_H_

#include "changes/catalogue.h"
#include "changes/loss_brake.h"
#include "changes/marked_rows.h"
#include "changes/plan.h"
#include "library/library.h"

struct SweepQuestion {
  const Library& library;
  Catalogue& catalogue;
  bool accepts_loss = false;
};

// Takes out of MARKED what is unknown, or may be out of reach with its file system, as AGAIN tells: a look at
// the folder after everything was sent.
void KeepUnreached(MarkedRows& marked, const Plan& again, const SweepQuestion& question);
// Whether what is left of MARKED may be deleted.
LossVerdict AskAboutSweep(const MarkedRows& marked, const SweepQuestion& question);

#endif  // SERVICE_RUN_SWEEP_H_
