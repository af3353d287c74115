// Which state of the library's database a catalogue speaks of.
//
// The database has a generation, which every batch raises in its own transaction, leaving the name of its run
// and, for each catalogue, the last one of its runs (library_facts.h). The catalogue notes the generation of
// the last batch of which it, like of all before, has noted what became of every item, and before a run's
// first batch the run's name: the database commits first, so a run that is killed leaves it behind and never
// ahead. A name is given once. So a database in which this catalogue's last generation is the one that it has
// noted, or one of a run that began there, has come from there, whoever has written since.
#ifndef SERVICE_CHANGES_CATALOGUE_GENERATION_H_
#define SERVICE_CHANGES_CATALOGUE_GENERATION_H_

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "changes/catalogue.h"
#include "database/library_facts.h"

enum class CatalogueStanding : std::uint8_t {
  kInStep,
  kBehind,     // the database has come from what the catalogue speaks of
  kUnrelated,  // an older database was put back, or another one
};

// What a catalogue has noted.
struct NotedGenerations {
  std::string writer;  // its own name
  Generation last;     // that of a database without one, where nothing is noted
  Generation own;      // the last one of a run with this catalogue; without a name where there was none
  std::string begun;   // the name of the run that began last
};

// READ gives the value of a fact of the catalogue, "" where there is none.
using ReadFact = std::function<std::string(const char* name)>;
NotedGenerations ReadNotedGenerations(const ReadFact& read);
NotedGenerations ReadNotedGenerations(Catalogue& catalogue);
CatalogueStanding StandingOf(const NotedGenerations& noted, const LibraryFacts& database);

// CATALOGUE speaks of this state from now on. As another one where it was made of it: what it was before is
// of no state that it knows.
void NoteGenerations(Catalogue& catalogue, const LibraryFacts& database);
void NoteGenerationsAsNew(Catalogue& catalogue, const LibraryFacts& database);

// What a run with CATALOGUE, which outlives it, gives the database. Workers finish in any order; the one
// thread of the supervisor notes what they tell.
class GenerationNotes {
 public:
  explicit GenerationNotes(Catalogue& catalogue);
  // Before the first batch; what the catalogue notes of it survives a power cut.
  const RunName& Begin();
  void Note(std::uint64_t number);

 private:
  Catalogue& catalogue_;
  RunName name_;
  std::uint64_t noted_;
  bool begun_ = false;
  std::set<std::uint64_t> done_out_of_order_;
};

#endif  // SERVICE_CHANGES_CATALOGUE_GENERATION_H_
