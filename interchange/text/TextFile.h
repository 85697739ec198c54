// Text files: whole files in and out, lines, fields and numbers, whatever the locale.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace interchange {

/// The bytes of a file, without the mark that some editors put in front of UTF-8. Throws `Failure` when it is
/// missing, no regular file, or cannot be read.
[[nodiscard]] std::string ReadWholeFile(const std::string& path);

/// Writes the file in place of what is there, as a whole or not at all: under another name first. Throws
/// `Failure` when it cannot be written; what was there is then as it was.
void WriteWholeFile(const std::string& path, std::string_view bytes);

/// Makes the folder, and those above it, where they are not there. Throws `Failure` when that fails.
void MakeFolder(const std::string& path);

/// `folder` and `name` as one path.
[[nodiscard]] std::string PathIn(const std::string& folder, const std::string& name);

[[nodiscard]] bool IsFolder(const std::string& path);
[[nodiscard]] bool IsFile(const std::string& path);

/// The last component of a path, and that without its extension.
[[nodiscard]] std::string FileNameOf(const std::string& path);
[[nodiscard]] std::string TitleOf(const std::string& path);

/// The lines of a text, by "\n" or "\r\n", without their ends; each is a view of `text`. A last line end
/// begins no further line.
class Lines {
 public:
  explicit Lines(std::string_view text) : rest_(text) {}

  /// The next line; none at the end.
  [[nodiscard]] std::optional<std::string_view> Next();

  /// Of the line last given, from 1.
  [[nodiscard]] std::size_t Number() const { return number_; }

 private:
  std::string_view rest_;
  std::size_t number_ = 0;
};

/// "FILE line 7", for failures.
[[nodiscard]] std::string LineOf(const std::string& path, std::size_t number);

[[nodiscard]] std::string_view Trimmed(std::string_view text);
[[nodiscard]] std::string LowerCase(std::string_view text);

/// The words between blanks and tabs.
[[nodiscard]] std::vector<std::string_view> Words(std::string_view line);

/// The fields between `separator`, blanks around them removed. A field in double quotes may hold separators,
/// and quotes that are doubled.
[[nodiscard]] std::vector<std::string> Fields(std::string_view line, char separator);

/// A field as a table with commas takes it: in quotes where it has a comma, a quote or a line end.
[[nodiscard]] std::string QuotedField(const std::string& text);

/// The separator of a table, by its first line: tab, semicolon, or comma, the first of them that is there
/// outside of quotes; a blank where none is.
[[nodiscard]] char SeparatorOf(std::string_view line);

/// The number that the whole text is, in decimal, with a point; none for anything else, such as "nan", "1,5"
/// or "3 m".
[[nodiscard]] std::optional<double> NumberOf(std::string_view text);
[[nodiscard]] std::optional<long long> IntegerOf(std::string_view text);

/// The shortest text that reads back to the same number.
[[nodiscard]] std::string TextOf(double value);

/// With `decimals` digits behind the point.
[[nodiscard]] std::string TextOf(double value, int decimals);

}  // namespace interchange
