#include "support/schemas.h"

#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <cstdlib>

#include "support/temp_dir.h"

std::string SchemaScript(const std::string& name) {
  return ReadFile(std::filesystem::path(LUMIVAULT_SQL_DIR) / name);
}

bool PostgresAnswers() {
  if (std::getenv("PGHOST") == nullptr) return false;
  PGconn* connection = PQconnectdb("user=postgres dbname=photo connect_timeout=60");
  const bool answers = PQstatus(connection) == CONNECTION_OK;
  EXPECT_TRUE(answers) << "the server that PGHOST names: " << PQerrorMessage(connection);
  PQfinish(connection);
  return answers;
}
