#ifndef PHOTO_INDEX_MOVE_RULE_H_
#define PHOTO_INDEX_MOVE_RULE_H_

// True when rows can follow a file or folder from OLD_PATH to NEW_PATH: both lie in the personal folder of
// one user, or both in the shared photo folder. Otherwise the move crosses databases or leaves them, and is a
// delete followed by an add. Changes the request context where neither path is personal.
[[nodiscard]] bool CanMoveInPlace(const char* new_path, const char* old_path);

#endif  // PHOTO_INDEX_MOVE_RULE_H_
