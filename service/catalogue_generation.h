// Which state of the library's database a catalogue speaks of.
//
// The database has a generation, which every batch raises in its own transaction together with the name of
// the catalogue of that run (library_facts.h). The catalogue notes the generation of the last batch of which
// it, like of all before, has noted what became of every item; the database commits first, so a run that is
// killed leaves it behind and never ahead.
#ifndef SERVICE_CATALOGUE_GENERATION_H_
#define SERVICE_CATALOGUE_GENERATION_H_

#include <cstdint>
#include <set>
#include <string>

#include "catalogue.h"
#include "library_facts.h"

enum class Standing : std::uint8_t {
  kInStep,
  kBehind,  // runs with this catalogue were killed before they could note what they had done
  kOther,   // an older database was put back, or runs with another catalogue have written
};

inline constexpr const char* kGenerationFact = "generation";
inline constexpr const char* kWriterFact = "writer";

// Of a catalogue with these facts, "" for those that it has not.
Standing StandingOf(const std::string& generation, const std::string& writer, const Generation& database);
Standing StandingOf(Catalogue& catalogue, const Generation& database);

// The name of CATALOGUE, under which a run with it writes.
std::string WriterOf(Catalogue& catalogue);
// CATALOGUE speaks of this state from now on. Under a new name, when it was made of it: states of before with
// higher numbers are others.
void Adopt(Catalogue& catalogue, const Generation& database);
void AdoptMadeAnew(Catalogue& catalogue, const Generation& database);

// What a run with CATALOGUE, which outlives it, gives the database. Workers finish in any order.
class KeptGenerations {
 public:
  explicit KeptGenerations(Catalogue& catalogue);
  void Note(std::uint64_t number);

 private:
  Catalogue& catalogue_;
  std::string writer_;
  std::uint64_t noted_;
  std::set<std::uint64_t> ahead_;
};

#endif  // SERVICE_CATALOGUE_GENERATION_H_
