#include "catalogue_generation.h"

#include <ios>
#include <random>
#include <sstream>

namespace {

std::string NewWriter() {
  std::random_device random;
  std::ostringstream name;
  name << std::hex << random() << '-' << random();
  return name.str();
}

// That of a database without one, where nothing is noted.
Generation Noted(const std::string& fact) {
  Generation noted;
  std::istringstream text(fact);
  text >> noted.number >> noted.writer;
  return noted;
}

}  // namespace

Standing StandingOf(const std::string& generation, const std::string& writer, const Generation& database) {
  const Generation noted = Noted(generation);
  if (database == noted) return Standing::kInStep;
  return database.writer == writer && database.number > noted.number ? Standing::kBehind : Standing::kOther;
}

Standing StandingOf(Catalogue& catalogue, const Generation& database) {
  return StandingOf(catalogue.Fact(kGenerationFact).value_or(""), catalogue.Fact(kWriterFact).value_or(""),
                    database);
}

std::string WriterOf(Catalogue& catalogue) {
  if (const auto writer = catalogue.Fact(kWriterFact)) return *writer;
  std::string made = NewWriter();
  catalogue.PutFact(kWriterFact, made);
  return made;
}

void Adopt(Catalogue& catalogue, const Generation& database) {
  catalogue.PutFact(kGenerationFact, std::to_string(database.number) + " " + database.writer);
}

void AdoptMadeAnew(Catalogue& catalogue, const Generation& database) {
  catalogue.PutFact(kWriterFact, NewWriter());
  Adopt(catalogue, database);
}

KeptGenerations::KeptGenerations(Catalogue& catalogue)
    : catalogue_(catalogue),
      writer_(WriterOf(catalogue)),
      noted_(Noted(catalogue.Fact(kGenerationFact).value_or("")).number) {}

void KeptGenerations::Note(std::uint64_t number) {
  ahead_.insert(number);
  const std::uint64_t before = noted_;
  while (ahead_.erase(noted_ + 1) > 0) ++noted_;
  if (noted_ != before) Adopt(catalogue_, {noted_, writer_});
}
