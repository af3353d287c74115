// The tables of a library's database as the service reads them: every column of every table, once.
#ifndef SERVICE_DATABASE_LIBRARY_TABLES_H_
#define SERVICE_DATABASE_LIBRARY_TABLES_H_

#include <array>
#include <span>

enum class ColumnKind {
  kText,
  kNumber,
  kId,     // given out in the order of work: two libraries of the same files have different ones
  kClock,  // when something was written
};

struct Column {
  const char* name;
  ColumnKind kind = ColumnKind::kText;

  bool number() const { return kind == ColumnKind::kNumber || kind == ColumnKind::kId; }
  // The same in every library made of the same files.
  bool lasting() const { return kind == ColumnKind::kText || kind == ColumnKind::kNumber; }
};

// What an id of a row stands for: a value from the row that it points to, null when there is none.
struct Reference {
  Column column;    // under its own name
  const char* sql;  // an expression over the row T
};

struct LibraryTable {
  const char* name;
  std::span<const Column> columns;
  std::span<const Reference> references;
  const char* rows;  // FROM: the rows T that have a key
  // What the rows are sorted by; an index of KEYS_FROM has these columns in this order. Several rows may have
  // the same key.
  std::span<const char* const> keys;
  const char* keys_from;
  const char* keyless;  // FROM and WHERE of the rows T that have none; null where every row has one
};

// Sorted by name.
std::span<const LibraryTable> LibraryTables();

inline constexpr std::array kPhotoColumns{Column{"id", ColumnKind::kId},
                                          Column{"path"},
                                          Column{"name"},
                                          Column{"title"},
                                          Column{"description"},
                                          Column{"album"},
                                          Column{"size", ColumnKind::kNumber},
                                          Column{"camera_make"},
                                          Column{"camera_model"},
                                          Column{"exposure"},
                                          Column{"aperture"},
                                          Column{"resolutionx", ColumnKind::kNumber},
                                          Column{"resolutiony", ColumnKind::kNumber},
                                          Column{"iso", ColumnKind::kNumber},
                                          Column{"timetaken"},
                                          Column{"updated"},
                                          Column{"create_time"},
                                          Column{"version", ColumnKind::kNumber},
                                          Column{"gps"},
                                          Column{"disabled"},
                                          Column{"shareid", ColumnKind::kId},
                                          Column{"privilege_shareid", ColumnKind::kId},
                                          Column{"rotation", ColumnKind::kNumber},
                                          Column{"lat", ColumnKind::kNumber},
                                          Column{"lng", ColumnKind::kNumber},
                                          Column{"focal_length_v2"},
                                          Column{"lens_v2"},
                                          Column{"flash_v2"}};

inline constexpr std::array kVideoColumns{Column{"id", ColumnKind::kId},
                                          Column{"path"},
                                          Column{"filesize", ColumnKind::kNumber},
                                          Column{"title"},
                                          Column{"album"},
                                          Column{"frame_bitrate", ColumnKind::kNumber},
                                          Column{"duration", ColumnKind::kNumber},
                                          Column{"resolutionx", ColumnKind::kNumber},
                                          Column{"resolutiony", ColumnKind::kNumber},
                                          Column{"audio_bitrate", ColumnKind::kNumber},
                                          Column{"frequency", ColumnKind::kNumber},
                                          Column{"channel", ColumnKind::kNumber},
                                          Column{"date"},
                                          Column{"mdate"},
                                          Column{"video_codec"},
                                          Column{"audio_codec"},
                                          Column{"video_profile", ColumnKind::kNumber},
                                          Column{"video_level", ColumnKind::kNumber},
                                          Column{"container_type"},
                                          Column{"frame_rate_num", ColumnKind::kNumber},
                                          Column{"frame_rate_den", ColumnKind::kNumber},
                                          Column{"video_bitrate", ColumnKind::kNumber},
                                          Column{"gps"},
                                          Column{"disabled"},
                                          Column{"shareid", ColumnKind::kId},
                                          Column{"privilege_shareid", ColumnKind::kId},
                                          Column{"rotation", ColumnKind::kNumber},
                                          Column{"updated"},
                                          Column{"lat", ColumnKind::kNumber},
                                          Column{"lng", ColumnKind::kNumber}};

#endif  // SERVICE_DATABASE_LIBRARY_TABLES_H_
