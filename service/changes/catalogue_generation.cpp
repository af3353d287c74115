#include "changes/catalogue_generation.h"

#include <ios>
#include <random>
#include <sstream>

namespace {

constexpr const char* kLastFact = "generation";
constexpr const char* kOwnFact = "written";
constexpr const char* kWriterFact = "writer";
constexpr const char* kBegunFact = "run";

std::string NewRandomName() {
  std::random_device random;
  std::ostringstream name;
  name << std::hex << random() << '-' << random();
  return name.str();
}

std::string WriterOf(Catalogue& catalogue) {
  if (const auto writer = catalogue.facts().Find(kWriterFact)) return *writer;
  std::string made = NewRandomName();
  catalogue.facts().Put(kWriterFact, made);
  return made;
}

// The last generation of its runs that DATABASE has is the one that the catalogue has noted, or one of a run
// that was killed before it could.
bool HasComeFrom(const NotedGenerations& noted, const LibraryFacts& database) {
  const auto found = database.writers.find(noted.writer);
  if (noted.writer.empty() || found == database.writers.end()) return false;
  const Generation& own = found->second;
  return own.run == noted.own.run ? own.number >= noted.own.number : own.run == noted.begun;
}

}  // namespace

NotedGenerations ReadNotedGenerations(const ReadFact& read) {
  return {read(kWriterFact), GenerationOf(read(kLastFact)), GenerationOf(read(kOwnFact)), read(kBegunFact)};
}

NotedGenerations ReadNotedGenerations(Catalogue& catalogue) {
  return ReadNotedGenerations([&](const char* name) { return catalogue.facts().Find(name).value_or(""); });
}

CatalogueStanding StandingOf(const NotedGenerations& noted, const LibraryFacts& database) {
  if (database.generation == noted.last) return CatalogueStanding::kInStep;
  const bool later = database.generation.number > noted.last.number;
  return later && HasComeFrom(noted, database) ? CatalogueStanding::kBehind : CatalogueStanding::kUnrelated;
}

void NoteGenerations(Catalogue& catalogue, const LibraryFacts& database) {
  catalogue.facts().Put(kLastFact, TextOf(database.generation));
  const auto own = database.writers.find(WriterOf(catalogue));
  if (own == database.writers.end()) return catalogue.facts().Remove(kOwnFact);
  catalogue.facts().Put(kOwnFact, TextOf(own->second));
}

void NoteGenerationsAsNew(Catalogue& catalogue, const LibraryFacts& database) {
  catalogue.facts().Put(kWriterFact, NewRandomName());
  catalogue.facts().Remove(kBegunFact);
  NoteGenerations(catalogue, database);
}

GenerationNotes::GenerationNotes(Catalogue& catalogue)
    : catalogue_(catalogue), noted_(ReadNotedGenerations(catalogue).last.number) {}

const RunName& GenerationNotes::Begin() {
  if (begun_) return name_;
  begun_ = true;
  name_ = {WriterOf(catalogue_), NewRandomName()};
  catalogue_.store().MakeDurable();
  catalogue_.facts().Put(kBegunFact, name_.run);
  catalogue_.Commit();
  return name_;
}

void GenerationNotes::Note(std::uint64_t number) {
  // A generation is noted only when those of all earlier batches are: a gap would never be made good.
  done_out_of_order_.insert(number);
  const std::uint64_t before = noted_;
  while (done_out_of_order_.erase(noted_ + 1) > 0) ++noted_;
  if (noted_ == before) return;
  catalogue_.facts().Put(kLastFact, TextOf({noted_, name_.run}));
  catalogue_.facts().Put(kOwnFact, TextOf({noted_, name_.run}));
}
