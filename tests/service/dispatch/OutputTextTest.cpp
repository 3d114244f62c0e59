// What becomes of a program's output on its way to text.
#include "service/dispatch/OutputText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Pieces = std::vector<std::string>;
using service::OutputText;

// What comes after each of the reads and after the end, put together.
Pieces PiecesOf(bool wholeLines, const Pieces& reads) {
  OutputText text(wholeLines);
  Pieces pieces;
  const auto take = [&] {
    while (std::optional<std::string> piece = text.Next()) pieces.push_back(*piece);
  };
  for (const std::string& read : reads) {
    text.Append(read);
    take();
  }
  text.Finish();
  take();
  return pieces;
}

TEST(OutputTextTest, LinesAreWholeAndPiecesAreTextWhereverAReadEnds) {
  const std::string nul(1, '\0');
  const std::string longest(OutputText::kMaxPieceBytes, 'x');
  const struct {
    const char* what;
    bool wholeLines;
    Pieces reads, pieces;
  } cases[] = {
      {"a line in two reads", true, {"on", "e\ntwo\n"}, {"one", "two"}},
      {"empty lines count", true, {"\n\na\n"}, {"", "", "a"}},
      {"a last line without its end", true, {"a\nb"}, {"a", "b"}},
      {"no output", true, {}, {}},
      {"the longest line", true, {longest + "\n"}, {longest}},
      {"a line that is longer", true, {longest + "y\n"}, {longest, "y"}},
      {"pieces as they come", false, {"a\nb", "c"}, {"a\nb", "c"}},
      {"a character in two reads",
       false,
       {"a\xE2\x82",
        "\xAC"
        "b"},
       {"a",
        "\xE2\x82\xAC"
        "b"}},
      {"and in four", false, {"\xF0", "\x9F", "\x98", "\x80"}, {"\xF0\x9F\x98\x80"}},
      {"a character that never ends", false, {"a\xE2\x82"}, {"a", "\xEF\xBF\xBD"}},
      {"no text at all", false, {"\xFF\xC0\x80"}, {"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"}},
      {"half of a pair, and beyond the last",
       false,
       {"\xED\xA0\x80|\xF4\x90\x80\x80"},
       {"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD|\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"}},
      {"a NUL",
       true,
       {"a" + nul + "b\n"},
       {"a\xEF\xBF\xBD"
        "b"}},
  };
  for (const auto& [what, wholeLines, reads, pieces] : cases)
    EXPECT_EQ(PiecesOf(wholeLines, reads), pieces) << what;
}

}  // namespace
