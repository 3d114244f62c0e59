// Property lists: every type in both forms, the text forms, and what is refused.
#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "tests/platform/corefoundation/Support.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace std::string_literals;
using test::Owned;
using test::Utf8Of;

Owned<CFDataRef> MakeData(const std::string& bytes) {
  return Owned<CFDataRef>(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                       static_cast<CFIndex>(bytes.size())));
}

Owned<CFTypeRef> Parse(const std::string& bytes, CFPropertyListFormat* format = nullptr,
                       CFErrorRef* error = nullptr) {
  const auto data = MakeData(bytes);
  return Owned<CFTypeRef>(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, format, error));
}

// What was read, in one line; the error's code for what was refused.
std::string Read(const std::string& bytes) {
  CFErrorRef error = nullptr;
  const auto value = Parse(bytes, nullptr, &error);
  const Owned<CFErrorRef> owner(error);
  EXPECT_EQ(value == nullptr, error != nullptr);
  if (error != nullptr) {
    const Owned<CFStringRef> sentence(CFErrorCopyDescription(error));
    EXPECT_TRUE(CFStringHasPrefix(sentence.get(), CFSTR("The property list cannot be read: ")));
    return "error";
  }
  const Owned<CFStringRef> text(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), value.get()));
  std::string line;
  for (const char c : Utf8Of(text.get()))
    if (c != ' ' && c != '\n') line += c;
  return line;
}

std::string Xml(const std::string& body) {
  return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + body + "</plist>";
}

// Objects with their own offsets, one byte each; the first is the top one.
std::string Binary(const std::vector<std::string>& objects, uint64_t claimed = 0) {
  std::string bytes = "bplist00", offsets;
  for (const auto& object : objects) {
    offsets += static_cast<char>(bytes.size());
    bytes += object;
  }
  const auto number = [](uint64_t value) {
    std::string text;
    for (int shift = 56; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift);
    return text;
  };
  const auto table = number(bytes.size());
  return bytes + offsets + "\0\0\0\0\0\0\1\1"s + number(claimed != 0 ? claimed : objects.size()) + number(0) +
         table;
}

std::string Nested(size_t levels, const std::string& open, const std::string& close) {
  std::string text;
  for (size_t i = 0; i < levels; ++i) text += open;
  for (size_t i = 0; i < levels; ++i) text += close;
  return text;
}

TEST(PropertyListTest, EveryTypeComesBackFromBothForms) {
  const auto everything = Parse(Xml(
      "<dict><key>b</key><true/><key>i</key><integer>-9223372036854775808</integer><key>r</key><real>5</real>"
      "<key>d</key><date>1999-12-31T23:59:59Z</date><key>D</key><data>AAH/</data><key>s</key>"
      "<string>&lt;\xC3\xA9\xF0\x9F\x98\x80&#10;</string><key>a</key><array><dict/><array/><string/></array>"
      "<key></key><false/></dict>"));
  ASSERT_TRUE(everything);
  for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    const Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, everything.get(), format, 0, nullptr));
    ASSERT_TRUE(data);
    CFPropertyListFormat readFormat{};
    const Owned<CFTypeRef> back(CFPropertyListCreateWithData(nullptr, data.get(), 0, &readFormat, nullptr));
    EXPECT_EQ(readFormat, format);
    ASSERT_TRUE(back);
    EXPECT_TRUE(CFEqual(back.get(), everything.get()));
    // A real stays one, though it has no fraction.
    const Owned<CFDataRef> xml(
        CFPropertyListCreateData(nullptr, back.get(), kCFPropertyListXMLFormat_v1_0, 0, nullptr));
    const std::string text(reinterpret_cast<const char*>(CFDataGetBytePtr(xml.get())),
                           static_cast<size_t>(CFDataGetLength(xml.get())));
    EXPECT_NE(text.find("<real>5</real>"), std::string::npos) << text;
  }
}

TEST(PropertyListTest, WhatIsReadIsWhatIsWrittenThere) {
  const std::pair<std::string, std::string> rows[] = {
      {Xml("<integer>18446744073709551615</integer>"), "1.8446744073709552e+19"},
      {Xml("<integer>-0x10</integer>"), "-16"},
      {Xml("<real>-infinity</real>"), "-infinity"},
      {Xml("<date>2001-01-01T00:00:01Z</date>"), "2001-01-0100:00:01+0000"},
      {Xml("<dict><key>a</key><true/><!-- again --><key>a</key><false/></dict>"), "{a=false;}"},
      {Xml("<string>a<![CDATA[<&]]>&#x41;</string>"), "a<&A"},
      {"\xEF\xBB\xBF" + Xml("<string>\xEF\xBB\xBF</string>"), "\xEF\xBB\xBF"},
      {Binary({"\x08"s}), "false"},
      {Binary({"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "-1"},
      {Binary({"\x10\xFF"s}), "255"},
      {Binary({"\x14\0\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}), "1.8446744073709552e+19"},
      {Binary({"\x33\xBF\xF8\0\0\0\0\0\0"s}), "2000-12-3123:59:58+0000"},
      {Binary({"\x62\0A\0\xE9"s}), "A\xC3\xA9"},
      {Binary({"\xD2\1\1\2\3"s, "\x51k"s, "\x08", "\x09"}), "{k=true;}"},  // of one key twice, the last
      {"{ a = (1, two ,); /* c */ 'b c' = <0f 10>; }", "{a=(1,two);\"bc\"=\"<CFData"},
      {"// table\n\"key\" = \"va\\\"l\\n\\U00e9\\101\";\nplain.key = x;\n\"alone\";\nplain.key = y;",
       "{alone=alone;key=\"va\\\"l\\n\\U00e9A\";plain.key=y;}"},
      {"\xFF\xFE"
       "a\0=\0\xE9\0b\0"s,
       "error"},
      {"\xFF\xFE"
       "a\0=\0\"\0\xE9\0\"\0;\0"s,
       "{a=\"\\U00e9\";}"},
      {"\xFE\xFF\0a\0=\0b\0;"s, "{a=b;}"},
      {"/* nothing */\n", "{}"},
  };
  for (const auto& [bytes, text] : rows) {
    const std::string read = Read(bytes);
    EXPECT_EQ(read.substr(0, text.find("<CFData") == std::string::npos ? read.size() : text.size()), text)
        << bytes;
  }
}

TEST(PropertyListTest, WhatIsDamagedOrTooLargeIsRefused) {
  // Each level of 20 shares the next: 2^20 values.
  std::vector<std::string> doubling;
  for (char i = 1; i <= 20; ++i) doubling.push_back({'\xA2', i, i});
  doubling.push_back("\x08");
  std::string manyKeys;
  for (int i = 0; i < 8193; ++i) manyKeys += "<key>" + std::to_string(i) + "</key><true/>";
  const std::string rows[] = {
      "",
      "\0"s,
      "a\0b"s,
      "\xFF\xFE"
      "a"s,
      "bplist00",
      "bplist00" + std::string(32, '\0'),
      Xml("<integer>12x</integer>"),
      Xml("<integer>010</integer>"),
      Xml("<integer/>"),
      Xml("<integer>18446744073709551616</integer>"),
      Xml("<real>x</real>"),
      Xml("<date>2001-02-29T00:00:00Z</date>"),
      Xml("<date>4001-01-01T00:00:00Z</date>"),
      Xml("<data>AAA</data>"),
      Xml("<data>!!!!</data>"),
      Xml("<string>&foo;</string>"),
      Xml("<string>&#0;</string>"),
      Xml("<string>&#xD800;</string>"),
      Xml("<string>\xFF</string>"),
      Xml("<dict><key>a</key></dict>"),
      Xml("<dict><true/></dict>"),
      Xml("<dict><key>a</key><key>b</key></dict>"),
      Xml("<array><true></array>"),
      Xml("<foo/>"),
      Xml(""),
      Xml("<true/><true/>"),
      Xml("<true/>") + "x",
      "<plist><true/>",
      "<plist><array>",
      "<plist>",
      "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
      Binary({"\xA1\0"s}),                 // holds itself
      Binary({"\xA2\1\1"s, "\xD1\1\0"s}),  // through another, whose key is no string
      Binary(doubling),
      Binary({"\xA1\7"s}),
      Binary({"\x08"}, uint64_t{1} << 60),
      Binary({"\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}),
      Binary({"\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"s}),
      Binary({"\x6F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFFx"s}),
      Binary({"\x81\1"s}),
      Binary({"\0"s}),
      Binary({"\x52"
              "a\0"s}),
      Binary({"\x61\xD8\0"s}),
      Binary({"\x33\x7F\xF8\0\0\0\0\0\0"s}),
      Binary({"\x22\0"s}),
      "{ a = b }",
      "{ a = b;",
      "( a b )",
      "\"a",
      "/* a",
      "a = ;",
      "<0f1>",
      "\"\\Ud800\"",
      "\"\\0\"",
      "a = b; }",
      Xml("<dict>" + manyKeys + "</dict>"),
      Nested(1000, "(", ")"),
      Nested(1000, "{a=", ";}"),
      Xml(Nested(1000, "<array>", "</array>")),
      Xml(Nested(1000, "<dict><key>a</key>", "</dict>")),
      Xml(Nested(1000000, "<array>", "")),
      std::string(1000000, '('),
  };
  for (const auto& bytes : rows)
    EXPECT_EQ(Read(bytes), "error") << testing::PrintToString(bytes.substr(0, 80));
  for (const std::string& bytes : {Nested(100, "(", ")"), Xml(Nested(100, "<array>", "</array>"))})
    EXPECT_EQ(Read(bytes), Nested(100, "(", ")"));
}

TEST(PropertyListTest, OnlyWhatAListHoldsIsWrittenAndCopied) {
  const Owned<CFUUIDRef> uuid(CFUUIDCreate(nullptr));
  const Owned<CFDateRef> late(CFDateCreate(nullptr, 1e12));
  const auto nul = test::MakeString(u"a\0b"s);
  const auto half = test::MakeString(u"\xD800");
  const auto wrap = [](CFTypeRef value) {
    return Owned<CFArrayRef>(CFArrayCreate(nullptr, &value, 1, &kCFTypeArrayCallBacks));
  };
  auto deep = wrap(kCFBooleanTrue);
  for (int i = 1; i < 512; ++i) deep = wrap(deep.get());
  const auto tooDeep = wrap(deep.get());
  const Owned<CFMutableDictionaryRef> numbered(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  CFDictionarySetValue(numbered.get(), kCFBooleanTrue, CFSTR("x"));

  struct Row {
    CFTypeRef value;
    bool isWritten, isCopied;
  };
  const Row rows[] = {{deep.get(), true, true},   {tooDeep.get(), false, false},
                      {uuid.get(), false, false}, {numbered.get(), false, false},
                      {late.get(), false, true},  {nul.get(), false, true},
                      {half.get(), false, true}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
      CFErrorRef error = nullptr;
      const Owned<CFDataRef> data(CFPropertyListCreateData(nullptr, row.value, format, 0, &error));
      const Owned<CFErrorRef> owner(error);
      EXPECT_EQ(data != nullptr, row.isWritten);
      EXPECT_EQ(error == nullptr, row.isWritten);
    }
    const Owned<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, row.value, 0));
    EXPECT_EQ(copy && CFEqual(copy.get(), row.value), row.isCopied);
  }
}

TEST(PropertyListTest, ADeepCopyDoesNotFollowItsOriginal) {
  const Owned<CFMutableDictionaryRef> inner(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  const void* value = inner.get();
  const Owned<CFArrayRef> outer(CFArrayCreate(nullptr, &value, 1, nullptr));
  const Owned<CFTypeRef> copy(CFPropertyListCreateDeepCopy(nullptr, outer.get(), 0));
  CFDictionarySetValue(inner.get(), CFSTR("a"), CFSTR("b"));
  const auto* copied =
      static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(copy.get()), 0));
  EXPECT_EQ(CFDictionaryGetCount(copied), 0);
  EXPECT_DEATH(CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(copied), CFSTR("a"), CFSTR("b")),
               "changed");
}

TEST(PropertyListTest, AFileIsReadThroughAStream) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "list";
  const std::string bytes = "a = \"" + std::string(100000, 'x') + "\";";
  std::ofstream(path) << bytes;
  const auto open = [](const std::string& name) {
    const auto url = test::MakeUrl(name, false);
    return Owned<CFReadStreamRef>(CFReadStreamCreateWithFile(nullptr, url.get()));
  };
  for (const CFIndex length : {CFIndex{0}, static_cast<CFIndex>(bytes.size()), CFIndex{70000}}) {
    const auto stream = open(path);
    ASSERT_TRUE(CFReadStreamOpen(stream.get()));
    const Owned<CFTypeRef> list(
        CFPropertyListCreateWithStream(nullptr, stream.get(), length, 0, nullptr, nullptr));
    EXPECT_EQ(list != nullptr, length != 70000);
    CFReadStreamClose(stream.get());
    CFErrorRef error = nullptr;
    EXPECT_EQ(CFPropertyListCreateWithStream(nullptr, stream.get(), 0, 0, nullptr, &error), nullptr);
    const Owned<CFErrorRef> owner(error);
    const Owned<CFStringRef> sentence(CFErrorCopyDescription(error));
    EXPECT_EQ(Utf8Of(sentence.get()), "The property list's stream cannot be read.");
  }
  EXPECT_FALSE(CFReadStreamOpen(open(path + "-missing").get()));
  EXPECT_FALSE(CFReadStreamOpen(open(folder.Path()).get()));
}

}  // namespace
