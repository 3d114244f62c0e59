#include "common/KCStringUtils.h"

#include <SystemConfiguration/SystemConfiguration.h>

#include <cstdlib>
#include <cstring>

#include "common/KCPrefsScanner.h"
#include "common/PropertyListFile.h"
#include "common/StCFTypeRef.h"
#include "platform/Programs.h"

namespace {

struct SearchString {
  CFStringRef token;
  CFStringRef plain;
};

// Each row takes all there is before the next one is tried. The entities of the quotes come before that of
// the ampersand and those of the brackets after it, so one more round of escaping is undone for brackets and
// not for quotes.
const SearchString searchStrings[] = {
    {CFSTR("[QUOT]"), CFSTR("\"")},  {CFSTR("&quot;"), CFSTR("\"")},   {CFSTR("[APOS]"), CFSTR("'")},
    {CFSTR("[SQUOTE]"), CFSTR("'")}, {CFSTR("[DQUOTE]"), CFSTR("\"")}, {CFSTR("&apos;"), CFSTR("'")},
    {CFSTR("[AMP]"), CFSTR("&")},    {CFSTR("&amp;"), CFSTR("&")},     {CFSTR("[GT]"), CFSTR(">")},
    {CFSTR("&gt;"), CFSTR(">")},     {CFSTR("[LT]"), CFSTR("<")},      {CFSTR("&lt;"), CFSTR("<")},
    {CFSTR("[LF]"), CFSTR("\n")},    {CFSTR("[CR]"), CFSTR("\r")},
};

// Every row of the table: what is at `from` becomes what is at `to`.
CFMutableStringRef ReplaceAll(CFStringRef string, CFStringRef SearchString::*from,
                              CFStringRef SearchString::*to) {
  if (string == nullptr) return nullptr;
  const CFMutableStringRef copy = CFStringCreateMutableCopy(kCFAllocatorDefault, 0, string);
  if (copy == nullptr) return nullptr;
  for (const SearchString& row : searchStrings)
    CFStringFindAndReplace(copy, row.*from, row.*to, CFRangeMake(0, CFStringGetLength(copy)), 0);
  return copy;
}

struct LanguageRow {
  CFStringRef equals;  // may be null
  CFStringRef contains;
  CFStringRef localization;
};

// The first row that fits a language names its localisation; a language that fits none is its own.
const LanguageRow kLanguages[] = {
    {CFSTR("en"), CFSTR("en-"), CFSTR("English")},
    {CFSTR("zh-Hans"), CFSTR("zh-Hans-"), CFSTR("zh_CN")},
    {CFSTR("zh-Hant"), CFSTR("zh-Hant-"), CFSTR("zh_TW")},
    {nullptr, CFSTR("de-"), CFSTR("de")},
    {nullptr, CFSTR("es-"), CFSTR("es")},
    {nullptr, CFSTR("fr-"), CFSTR("fr")},
    {nullptr, CFSTR("ko-"), CFSTR("ko")},
    {nullptr, CFSTR("ja-"), CFSTR("ja")},
    {nullptr, CFSTR("pt-"), CFSTR("pt")},
    {nullptr, CFSTR("ru-"), CFSTR("ru")},
    {nullptr, CFSTR("it-"), CFSTR("it")},
};

bool Fits(CFStringRef language, const LanguageRow& row) {
  return (row.equals != nullptr &&
          CFStringCompare(language, row.equals, kCFCompareCaseInsensitive) == kCFCompareEqualTo) ||
         CFStringFind(language, row.contains, kCFCompareCaseInsensitive).location != kCFNotFound;
}

CFStringRef LocalizationFor(CFStringRef language) {
  for (const LanguageRow& row : kLanguages)
    if (Fits(language, row)) return row.localization;
  return language;
}

const CFStringRef RESOURCES_DIR = CFSTR("/bin/kvresources");

// Null when there is no bundle in the agent's folder. The caller releases.
CFBundleRef CreateResourceBundle() {
  const CFStringRef directory = KCPrefsScanner::GetPrefs()->GetAgentDirectory();
  // A stored directory comes with a reference of ours, the default without one.
  const StCFTypeRef<CFStringRef> owner{directory, directory != KCPrefsScanner::GetDefaultAgentDirectory()};
  if (directory == nullptr) return nullptr;
  const StCFTypeRef<CFStringRef> path{
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@%@"), directory, RESOURCES_DIR)};
  const StCFTypeRef<CFURLRef> url{
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, path, kCFURLPOSIXPathStyle, true)};
  return url != nullptr ? CFBundleCreate(kCFAllocatorDefault, url) : nullptr;
}

// The languages of the account, else those of this process that the bundle has. The caller releases.
CFArrayRef CopyLanguages(CFBundleRef bundle, uid_t uid) {
  if (const CFArrayRef languages = CopyLanguageArrayFromDefaultsWithUID(uid)) return languages;
  const StCFTypeRef<CFPropertyListRef> own{
      CFPreferencesCopyValue(CFSTR("AppleLanguages"), kCFPreferencesAnyApplication, kCFPreferencesCurrentUser,
                             kCFPreferencesAnyHost)};
  if (AsArray(own) == nullptr) return nullptr;
  const StCFTypeRef<CFArrayRef> localizations{CFBundleCopyBundleLocalizations(bundle)};
  return CFBundleCopyLocalizationsForPreferences(localizations, AsArray(own));
}

// Null when the bundle has no such table for the language. The caller releases.
CFURLRef CopyTableUrl(CFBundleRef bundle, CFStringRef table, CFStringRef language) {
  return CFBundleCopyResourceURLForLocalization(bundle, table, CFSTR("strings"), nullptr,
                                                LocalizationFor(language));
}

// One more owner of the text; null of null.
CFStringRef Retained(CFStringRef text) {
  return text != nullptr ? static_cast<CFStringRef>(CFRetain(text)) : nullptr;
}

// The text of `key` in the table, else `value`. The caller releases.
CFStringRef CopyText(CFURLRef table, CFStringRef key, CFStringRef value) {
  const StCFTypeRef<CFPropertyListRef> read{CreatePropertyListWithFile(table)};
  const CFDictionaryRef texts = AsDictionary(read);
  const CFStringRef text = texts != nullptr ? AsString(CFDictionaryGetValue(texts, key)) : nullptr;
  return Retained(text != nullptr ? text : value);
}

// How many units the character at `index` takes.
CFIndex UnitsOfCharacter(CFStringRef string, CFIndex index, CFIndex length) {
  const auto isHigh = [](UniChar unit) { return unit >= 0xD800 && unit < 0xDC00; };
  const auto isLow = [](UniChar unit) { return unit >= 0xDC00 && unit < 0xE000; };
  const bool isPair = index + 1 < length && isHigh(CFStringGetCharacterAtIndex(string, index)) &&
                      isLow(CFStringGetCharacterAtIndex(string, index + 1));
  return isPair ? 2 : 1;
}

// Up to `size` bytes, without what the encoding lacks; returns their count.
CFIndex ConvertWhatFits(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  const CFIndex length = CFStringGetLength(string);
  CFIndex written = 0;
  CFIndex index = 0;
  while (index < length && written < size) {
    CFIndex used = 0;
    index += CFStringGetBytes(string, CFRangeMake(index, length - index), encoding, 0, false,
                              reinterpret_cast<UInt8*>(buffer + written), size - written, &used);
    written += used;
    if (index >= length) break;

    // It stopped at a character that the encoding lacks, which is dropped, or at one that does not fit.
    const CFIndex units = UnitsOfCharacter(string, index, length);
    const bool convertible =
        CFStringGetBytes(string, CFRangeMake(index, units), encoding, 0, false, nullptr, 0, nullptr) > 0;
    if (convertible) break;
    index += units;
  }
  return written;
}

}  // namespace

CFIndex KCStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (buffer == nullptr || size < 1) return 0;
  buffer[0] = '\0';
  if (string == nullptr) return 0;
  if (CFStringGetCString(string, buffer, size, encoding)) return 1;

  const CFIndex written = ConvertWhatFits(string, buffer, size - 1, encoding);
  buffer[written] = '\0';
  return written;
}

KCStringHelper::KCStringHelper(CFStringRef string, CFStringEncoding encoding) {
  if (string == nullptr) return;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), encoding);
  if (size < 1) return;
  buffer_.reset(static_cast<char*>(std::malloc(static_cast<size_t>(size) + 1)));
  KCStringGetCString(string, buffer_.get(), size + 1, encoding);
}

int CStringCompareWithCFString(const char* text, CFStringRef string, CFStringEncoding encoding) {
  const KCStringHelper converted(string, encoding);
  const char* other = converted.GetCStringPtr();
  return std::strcmp(text != nullptr ? text : "", other != nullptr ? other : "");
}

CFMutableStringRef EscapeScript(CFStringRef string) {
  return ReplaceAll(string, &SearchString::plain, &SearchString::token);
}

CFMutableStringRef UnEscapeScript(CFStringRef string) {
  return ReplaceAll(string, &SearchString::token, &SearchString::plain);
}

CFStringRef KCLocalizedStringWithDefaultValue(CFStringRef key, CFStringRef value, CFStringRef table) {
  const StCFTypeRef<CFBundleRef> bundle{CreateResourceBundle()};
  if (bundle == nullptr) return Retained(value);

  uid_t uid = 0;
  const StCFTypeRef<CFStringRef> user{SCDynamicStoreCopyConsoleUser(nullptr, &uid, nullptr)};
  if (user == nullptr || CFEqual(user, CFSTR("loginwindow")))
    return CFBundleCopyLocalizedString(bundle, key, value, table);

  const StCFTypeRef<CFArrayRef> languages{CopyLanguages(bundle, uid)};
  const CFIndex count = languages != nullptr ? CFArrayGetCount(languages) : 0;
  // As many tries as there are languages, each with the first one: the others are never asked.
  for (CFIndex tries = 0; tries < count; ++tries) {
    const CFStringRef language = AsString(CFArrayGetValueAtIndex(languages, 0));
    const StCFTypeRef<CFURLRef> url{language != nullptr ? CopyTableUrl(bundle, table, language) : nullptr};
    if (url != nullptr) return CopyText(url, key, value);
  }
  return Retained(value);
}

CFArrayRef CopyLanguageArrayFromDefaultsWithUID(uid_t uid) {
  const auto account = platform::FindAccount(uid);
  if (!account) return nullptr;
  const StCFTypeRef<CFPropertyListRef> settings{
      CreatePropertyListWithFile(account->home + "/" + "Library/Preferences/.GlobalPreferences.plist")};
  const CFDictionaryRef dictionary = AsDictionary(settings);
  const CFArrayRef languages =
      dictionary != nullptr ? AsArray(CFDictionaryGetValue(dictionary, CFSTR("AppleLanguages"))) : nullptr;
  return languages != nullptr ? CFArrayCreateCopy(kCFAllocatorDefault, languages) : nullptr;
}
