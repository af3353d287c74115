#include "worker/people_merge_pause.h"

#include "database/queries_sql.h"

PeopleMergePause::PeopleMergePause(DatabaseReader& database) : database_(database) {
  const auto merging = database_.Query({"config_value"}, kMergesPeopleSql);
  paused_ = merging && !merging->empty();
  begun_ = merging && (!paused_ || database_.Run(kPauseMergeSql));
}

bool PeopleMergePause::End() {
  return !paused_ || database_.Run(kResumeMergeSql);
}
