// Databases made with the engine itself, past the code under test.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Target.h"

namespace fuzz {

/// The file that a database would be after these statements; each that fails is passed over. Without any
/// content: no bytes.
[[nodiscard]] Bytes DatabaseOf(const std::vector<std::string>& statements);

/// The integer that a query gives for the database in `file`; none when it fails or takes long.
[[nodiscard]] std::optional<std::int64_t> IntegerOf(const Bytes& file, const std::string& query);

/// A value as the engine has it: monostate for NULL, texts and blobs as their bytes.
using RawCell = std::variant<std::monostate, std::int64_t, double, std::string>;

/// The first row of a table in the database in `file`; no cells when there is none.
[[nodiscard]] std::vector<RawCell> FirstRowOf(const Bytes& file, const std::string& table);

/// A text as an SQL expression, also where it has a NUL in it.
[[nodiscard]] std::string Literal(const std::string& text);

/// Bytes as an SQL literal: X'0102'.
[[nodiscard]] std::string BlobLiteral(const Bytes& bytes);

/// A name in double quotes.
[[nodiscard]] std::string Quoted(const std::string& name);

}  // namespace fuzz
