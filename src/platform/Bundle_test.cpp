#include "platform/Bundle.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace tavo::platform {
namespace {

TEST(BundleInfo, ReadsWhatTheHostSet) {
  Bundle bundle(Dictionary{{"CFBundleVersion", "412"}, {"CFBundleName", "Demo"}});
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleVersion"), Value("412"));
  EXPECT_FALSE(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString").has_value());

  bundle.setInfoValue("CFBundleShortVersionString", "4.1");
  bundle.setInfoValue("CFBundleVersion", "413");
  EXPECT_EQ(bundle.objectForInfoDictionaryKey("CFBundleShortVersionString"), Value("4.1"));
  const Dictionary info = bundle.infoDictionary();
  EXPECT_EQ(info.size(), 3u);
  EXPECT_EQ(info.allKeys().front(), "CFBundleVersion");  // replaced in place, order kept
  EXPECT_EQ(*info.find("CFBundleVersion"), Value("413"));
}

TEST(BundleLocalizedStrings, FallsBackToValueThenKey) {
  Bundle bundle;
  bundle.setLocalizedStrings("Localizable", Dictionary{{"OK", "Aceptar"}});
  EXPECT_EQ(bundle.localizedStringForKey("OK", "Okay"), "Aceptar");
  EXPECT_EQ(bundle.localizedStringForKey("Cancel", "Cancel it"), "Cancel it");
  EXPECT_EQ(bundle.localizedStringForKey("Cancel", ""), "Cancel");
}

TEST(BundleLocalizedStrings, EmptyTableNameIsLocalizable) {
  Bundle bundle;
  bundle.setLocalizedStrings("Localizable", Dictionary{{"Hello", "Hola"}});
  bundle.setLocalizedStrings("Alerts", Dictionary{{"Hello", "¡Atención!"}});
  EXPECT_EQ(bundle.localizedStringForKey("Hello", "", ""), "Hola");
  EXPECT_EQ(bundle.localizedStringForKey("Hello", "", "Localizable"), "Hola");
  EXPECT_EQ(bundle.localizedStringForKey("Hello", "", "Alerts"), "¡Atención!");
  EXPECT_EQ(bundle.localizedStringForKey("Hello", "", "Missing"), "Hello");
}

TEST(BundleLocalizedStrings, ReplacingATableDropsItsOldEntries) {
  Bundle bundle;
  bundle.setLocalizedStrings("", Dictionary{{"A", "1"}, {"B", "2"}});
  bundle.setLocalizedStrings("", Dictionary{{"A", "3"}});
  EXPECT_EQ(bundle.localizedStringForKey("A", ""), "3");
  EXPECT_EQ(bundle.localizedStringForKey("B", ""), "B");
}

TEST(BundleLocalizedStrings, NonStringEntryCountsAsMissing) {
  Bundle bundle;
  bundle.setLocalizedStrings("", Dictionary{{"Count", 3}, {"Empty", ""}});
  EXPECT_EQ(bundle.localizedStringForKey("Count", "fallback"), "fallback");
  EXPECT_EQ(bundle.localizedStringForKey("Empty", "fallback"), "");  // present, even if empty
}

TEST(BundleThreads, ReadersSeeWholeTablesWhileTheHostWrites) {
  Bundle bundle;
  bundle.setLocalizedStrings("", Dictionary{{"K", "v0"}});
  std::thread writer([&] {
    for (int i = 1; i <= 500; ++i) {
      bundle.setLocalizedStrings("", Dictionary{{"K", std::string("v").append(std::to_string(i))}});
      bundle.setInfoValue("CFBundleVersion", i);
    }
  });
  for (int i = 0; i < 500; ++i) {
    const std::string text = bundle.localizedStringForKey("K", "");
    ASSERT_EQ(text.front(), 'v');
    bundle.infoDictionary();
  }
  writer.join();
  EXPECT_EQ(bundle.localizedStringForKey("K", ""), "v500");
}

}  // namespace
}  // namespace tavo::platform
