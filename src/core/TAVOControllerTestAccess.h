#pragma once

namespace tavo {

// Test-only access to the shared controller (library tavo_testing, never libtavo).
struct TAVOControllerTestAccess {
  // The next sharedInstance() builds a fresh controller (on the platform installed at that moment).
  static void replaceSharedInstance();
  // The shared controller if one exists, without creating it.
  static class TAVOController* existingInstance();
};

}  // namespace tavo
