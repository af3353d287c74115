#ifndef SERVICE_CHANGES_MOVES_H_
#define SERVICE_CHANGES_MOVES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "changes/survey.h"
#include "common/outcome.h"

// Something that bears another name now. Paths are below the library.
struct Move {
  std::string from;
  std::string to;
  ItemKind kind = ItemKind::kPhoto;
  FileStamp stamp;
  bool same_content = false;
  bool parks_rows = false;  // `to` is a name that no file bears, until what stands in the way has moved
  std::uint32_t step = 0;   // moves of one step do not touch each other; the steps are done in order
};

// Finds the moves among DIFFERENCES and takes them out of it: files and folders by their object, files that
// were copied and deleted by size and content (below the folder LIBRARY), files of which only the database
// tells by name and size, where both are the only ones. What may be out of reach with its file system moves
// by its object alone. A folder moves only to a path that is new, since what the plug-in does first is to
// clear everything below it, and that can be an album.
std::vector<Move> TakeFolderMoves(Differences& differences);
// Where it is STOPPED, contents are not compared any more: what was found so far is not to be acted on. It
// fails where a file may have been copied and the library cannot be reached.
Outcome<std::vector<Move>> TakeFileMoves(Differences& differences, const std::string& library,
                                         const StopQuestion& stopped = nullptr);

#endif  // SERVICE_CHANGES_MOVES_H_
