#include "platform/Bundle.h"

#include <gtest/gtest.h>

#include <string>

namespace tavo::platform {
namespace {

TEST(BundleLocalizedStrings, TablesFallBackToTheValueThenTheKey) {
  Bundle bundle;
  bundle.setLocalizedStrings("Localizable", Dictionary{{"OK", "Aceptar"}, {"Count", 3}, {"Empty", ""}});
  bundle.setLocalizedStrings("Alerts", Dictionary{{"OK", "¡Atención!"}, {"Gone", "soon"}});
  bundle.setLocalizedStrings("Alerts", Dictionary{{"OK", "¡Vale!"}});  // replaces the whole table
  const struct {
    const char *key, *value, *table, *expected;
  } cases[] = {
      {"OK", "Okay", "", "Aceptar"},  // an empty table name is Localizable
      {"OK", "", "Alerts", "¡Vale!"}, {"Gone", "", "Alerts", "Gone"},        {"OK", "", "Missing", "OK"},
      {"Cancel", "", "", "Cancel"},   {"Count", "fallback", "", "fallback"},  // not a string: missing
      {"Empty", "fallback", "", ""},                                          // present, even if empty
  };
  for (const auto& c : cases)
    EXPECT_EQ(bundle.localizedStringForKey(c.key, c.value, c.table), c.expected) << c.key << " in " << c.table;
}

}  // namespace
}  // namespace tavo::platform
