// The cookie file as the platform reads it at start, then the ways cookies are written: a host or the web-SDK
// hand-over setting one, a web page's cookies under the accept policy, deletions, reads as time passes. Every
// change writes the file; after any input the file must be JSON, and a storage reopened on it must hold the same
// lasting cookies and policy.
//
// Input: [file length: 2 bytes LE][file bytes], then operations: an opcode byte and what it reads (FuzzInput).

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "FuzzEnvironment.h"
#include "FuzzInput.h"
#include "core/TAVOController.h"
#include "persistence/TAVODataStoreController.h"
#include "platform/CookieStorage.h"
#include "tavo/TAVO.h"

namespace {

using tavo::fuzzing::FuzzInput;
using tavo::platform::CookieStorage;
using Cookie = CookieStorage::Cookie;

constexpr int kMaxOperations = 32;

// A change the storage holds in memory only: the harness's file system never refuses a write, so the file
// would no longer hold what the storage does. A finding.
void mustWrite(bool written) {
  if (!written) {
    std::fprintf(stderr, "a cookie change was not written to the file\n");
    std::abort();
  }
}

Cookie cookieFrom(FuzzInput& in, tavo::platform::Clock& clock) {
  Cookie cookie;
  cookie.name = in.text();
  cookie.value = in.text();
  cookie.domain = in.text();
  cookie.path = in.text();
  cookie.version = in.text();
  const std::uint8_t shape = in.byte();
  if (shape & 1) cookie.expiresDate = clock.now().dateByAddingTimeInterval(in.number());
  if (shape & 2) cookie.originURL = in.text();
  cookie.secure = (shape & 4) != 0;
  return cookie;
}

std::shared_ptr<CookieStorage> open(tavo::platform::Platform& platform) {
  return std::make_shared<CookieStorage>(platform.fileSystem, [clock = platform.clock] { return clock->now(); });
}

// The web-SDK hand-over, with a stored token and push id from the input.
void handOver(FuzzInput& in) {
  auto store = tavo::TAVOController::sharedInstance().dataStoreController();
  const std::uint8_t stored = in.byte();
  if (stored & 1)
    store->saveObjectToDataStore(tavo::Value(in.text()), tavo::TAVODataStoreController::kPushTokenRegisteredKey);
  if (stored & 2) store->saveObjectToDataStore(tavo::Value(in.int32()), tavo::TAVODataStoreController::kLastPushIdKey);
  tavo::TAVOLegacy::setWebSDKDomain(in.maybeText());
  tavo::TAVOLegacy::syncWithWebSDK();
}

[[noreturn]] void differs(const char* what, const std::string& file) {
  std::fprintf(stderr, "reopened cookie storage differs (%s); the file:\n%s\n", what, file.c_str());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  auto& environment = tavo::fuzzing::FuzzEnvironment::shared();
  environment.beginInput();
  auto& platform = environment.platform();
  FuzzInput in(data, size);
  const std::size_t length = in.byte() | (static_cast<std::size_t>(in.byte()) << 8);
  const std::size_t start = std::min<std::size_t>(2, size);
  const std::size_t fileLength = std::min(length, size - start);
  // The harness's own file system never refuses a write; if it did, no input would test anything.
  if (!platform.fileSystem->writeAtomically(platform.cookieStorage->path(),
                                            tavo::platform::Data(data + start, data + start + fileLength)))
    std::abort();
  for (std::size_t i = 0; i < fileLength; ++i) in.byte();
  platform.cookieStorage = open(platform);
  CookieStorage& storage = *platform.cookieStorage;

  auto& clock = environment.clock();
  for (int operation = 0; operation < kMaxOperations && !in.empty(); ++operation) {
    switch (in.byte() % 8) {
      case 0: mustWrite(storage.setCookie(cookieFrom(in, clock))); break;
      case 1: {
        std::vector<Cookie> cookies(in.byte() % 4);
        for (Cookie& cookie : cookies) cookie = cookieFrom(in, clock);
        const std::string url = in.text();
        mustWrite(storage.setCookies(cookies, url, in.flag() ? url : in.text()));
        break;
      }
      case 2: mustWrite(storage.deleteCookie(cookieFrom(in, clock))); break;
      case 3: mustWrite(storage.setCookieAcceptPolicy(static_cast<CookieStorage::AcceptPolicy>(in.byte() % 3))); break;
      case 4: (void)storage.cookies(); break;
      case 5: (void)storage.cookiesForURL(in.text()); break;
      case 6: {
        const double seconds = in.number();
        if (std::isfinite(seconds) && seconds > 0 && seconds < 1e10) clock.advance(seconds);
        break;
      }
      default: handOver(in); break;
    }
  }
  environment.finishInput();

  // A file nobody wrote again is the input's own, JSON or not.
  const auto file = platform.fileSystem->contentsAtPath(storage.path()).value_or(tavo::platform::Data());
  if (file != tavo::platform::Data(data + start, data + start + fileLength)) environment.expectCookieFileIsJSON();
  std::vector<Cookie> lasting;
  for (const Cookie& cookie : storage.cookies())
    if (!cookie.isSessionOnly()) lasting.push_back(cookie);
  const auto reopened = open(platform);
  const std::string text(file.begin(), file.end());
  if (reopened->cookieAcceptPolicy() != storage.cookieAcceptPolicy()) differs("policy", text);
  if (reopened->cookies() != lasting) differs("cookies", text);
  return 0;
}
