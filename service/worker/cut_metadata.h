#ifndef SERVICE_WORKER_CUT_METADATA_H_
#define SERVICE_WORKER_CUT_METADATA_H_

#include <string>

#include "database/database_reader.h"

// Keywords and people go through buffers of a fixed size, and what is beyond is left out without a word. This
// tells it for the photo at PATH, whose row in DATABASE has KEY: "211 of 1,000 keywords kept", or "". The
// database is asked only of a photo that fills a buffer.
std::string CutMetadataNote(const std::string& path, const std::string& key, DatabaseReader& database);

#endif  // SERVICE_WORKER_CUT_METADATA_H_
