// The metadata of an image as the metadata tool prints it. Printing costs as much as parsing, so it is done
// once for all the questions about a file.
#ifndef PLATFORM_PRINTED_METADATA_H_
#define PLATFORM_PRINTED_METADATA_H_

#include <exiv2/exiv2.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/api.h"
#include "platform/image_cache.h"

struct PrintedDatum {
  std::string key;
  const Exiv2::Metadatum* datum;  // of the image
  // Nothing for long binary data, which make most of a listing as numbers, and which hardly anybody reads:
  // who does has them printed.
  std::optional<std::string> value;
};

struct PrintedMetadata {
  std::vector<PrintedDatum> data;  // ends where it gets longer than an output may be
  std::size_t bytes = 0;           // of the shortest listing
  bool failed = false;             // an error inside the library at the last value ended it
};

// What IMAGE holds, as printed. It is kept with the image unless it is unusually long. Never null. Throws
// std::bad_alloc only. Threads: may be called from any.
std::shared_ptr<const PrintedMetadata> Printed(const ParsedImage& image);
// The same when it is kept already, else null.
std::shared_ptr<const PrintedMetadata> PrintedBefore(const ParsedImage& image);

// " Short       1": type and count in the columns of a full listing.
std::string TypeColumns(const Exiv2::Metadatum& datum);
// The text of DATUM, which is of IMAGE. While no Exiv2Scope lives in this thread.
std::string ValueOf(const PrintedDatum& datum, const ParsedImage& image);

// Parses and prints the image at PATH now, so that the questions about it that follow cost next to nothing
// as long as the image is kept.
KAVO_API void PrepareMetadataAnswers(const std::string& path);

// Tags that the library has no name for are not printed.
bool IsPrinted(const Exiv2::Metadatum& datum);

#endif  // PLATFORM_PRINTED_METADATA_H_
