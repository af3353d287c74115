#include "db/postgres_answer.h"

#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "base/ascii.h"
#include "db/postgres_text.h"

namespace {

// The server counts the rows of a SELECT the same way; those were not changed.
int ChangedRows(pg_result* answer) {
  const std::string_view tag = FirstWord(PQcmdStatus(answer));
  if (tag != "INSERT" && tag != "UPDATE" && tag != "DELETE" && tag != "MERGE") return 0;
  return static_cast<int>(std::strtol(PQcmdTuples(answer), nullptr, 10));
}

}  // namespace

void ClearAnswer::operator()(pg_result* answer) const {
  PQclear(answer);
}

bool Succeeded(const pg_result* answer) {
  switch (PQresultStatus(answer)) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
    case PGRES_EMPTY_QUERY:
      return true;
    default:
      return false;
  }
}

bool IsCopy(const pg_result* answer) {
  const ExecStatusType status = PQresultStatus(answer);
  return status == PGRES_COPY_IN || status == PGRES_COPY_OUT || status == PGRES_COPY_BOTH;
}

// Class 08 is a broken connection, 57P01 to 57P03 a server that stops or starts.
bool IsLossState(std::string_view state) {
  return state.substr(0, 2) == "08" || state == "57P01" || state == "57P02" || state == "57P03";
}

// PQstatus alone does not tell: after a crash of the server it stays good for the first statement, whose
// failure then has no SQLSTATE.
bool ShowsLoss(const pg_conn* connection, const pg_result* answer) {
  if (PQstatus(connection) == CONNECTION_BAD) return true;
  if (answer == nullptr || PQresultStatus(answer) != PGRES_FATAL_ERROR) return false;
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  return state == nullptr || IsLossState(state);
}

bool IsConflict(const pg_result* answer) {
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return false;
  constexpr std::array<std::string_view, 3> kConflicts{"40001", "40P01", "55P03"};
  return std::find(kConflicts.begin(), kConflicts.end(), state) != kConflicts.end();
}

const char* ServerFailure(const pg_result* answer) {
  struct Failure {
    std::string_view state;  // or its class
    const char* why;
  };
  constexpr std::array<Failure, 7> kFailures{{{"25006", "the server only reads"},
                                              {"53100", "the server's disk is full"},
                                              {"53200", "the server is out of memory"},
                                              {"53", "the server has no resources left"},
                                              {"58", "the server cannot use its files"},
                                              {"XX001", "the server's files are damaged"},
                                              {"XX002", "the server's files are damaged"}}};
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return nullptr;
  const auto* found = std::find_if(kFailures.begin(), kFailures.end(), [&](const Failure& failure) {
    return std::string_view(state).starts_with(failure.state);
  });
  return found != kFailures.end() ? found->why : nullptr;
}

bool IsRefusal(const pg_result* answer) {
  const char* state = PQresultErrorField(answer, PG_DIAG_SQLSTATE);
  if (state == nullptr) return false;
  constexpr std::array<std::string_view, 3> kClasses{"0A", "26", "42"};
  return std::find(kClasses.begin(), kClasses.end(), std::string_view(state).substr(0, 2)) != kClasses.end();
}

bool IsBrokenCommit(const char* sql, pg_result* answer) {
  return (BeginsWith(sql, "COMMIT") || BeginsWith(sql, "END")) &&
         std::strcmp(PQcmdStatus(answer), "ROLLBACK") == 0;
}

std::string ErrorOf(const pg_conn* connection, const pg_result* answer) {
  std::string text = PQresultErrorMessage(answer);
  if (text.empty()) text = PQerrorMessage(connection);
  return text.empty() ? "The server's answer was not understood." : text;
}

void TakeRows(pg_result* answer, ResultSet& result) {
  const int columns = PQnfields(answer);
  const int rows = PQntuples(answer);
  for (int column = 0; column < columns; ++column) result.AddColumn(PQfname(answer, column));
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      if (PQgetisnull(answer, row, column) != 0) {
        result.AddNull();
      } else {
        const auto length = static_cast<std::size_t>(PQgetlength(answer, row, column));
        result.AddText({PQgetvalue(answer, row, column), length});
      }
    }
  }
  result.set_affected(ChangedRows(answer));
}
