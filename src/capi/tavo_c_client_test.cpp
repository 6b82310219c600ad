// A host written in plain C (tests/c_client) runs as its own process against the web-service emulator; the
// test reads what arrived.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "SdkTestEnvironment.h"
#include "WireFormat.h"
#include "emulator/Emulator.h"

namespace tavo {
namespace {

using emulator::Emulator;
using platform::Value;
using testing::WireFormat;

struct ClientRun {
  int exitCode = -1;
  std::string output;
};

ClientRun runClient(const std::string& dataDirectory, const std::string& baseURL) {
  ClientRun run;
  const std::string command = std::string(TAVO_C_CLIENT_PATH) + " '" + dataDirectory + "' '" + baseURL + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return run;
  char buffer[512];
  while (fgets(buffer, sizeof buffer, pipe)) run.output += buffer;
  const int status = pclose(pipe);
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

TEST(CClientProcess, StartsTracksLogsInAndOrdersOverARealSocket) {
  Emulator server;
  testing::TemporaryDirectory data;
  const ClientRun run = runClient(data.path(), server.baseURL());
  ASSERT_EQ(run.exitCode, 0) << run.output;
  EXPECT_NE(run.output.find("session started: 1"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("delegate: started c-event-1"), std::string::npos) << run.output;

  // What each step of the client put on the wire; the payloads' details are the C interface tests' business.
  bool initialUpdate = false, startEvent = false, levelUp = false, login = false, order = false;
  for (const auto& request : server.requests()) {
    if (request.action == "tracker") {
      EXPECT_EQ(request.header("apiUser"), std::optional<std::string>("CCLIENTAPP1"));
      for (const auto& operation : WireFormat::batchOperations(request.body)) {
        const Value* params = operation.get("params");
        const Value* name = params ? params->get("eventName") : nullptr;
        startEvent = startEvent || (name && *name == Value("tavo_start_session"));
        levelUp = levelUp || (name && *name == Value("level_up"));
      }
      continue;
    }
    const auto payload = WireFormat::formPayload(request.body);
    ASSERT_TRUE(payload) << request.body;
    EXPECT_EQ(*WireFormat::formFields(request.body).find("apiUser"), Value("CCLIENTAPP1"));
    initialUpdate = initialUpdate || (request.action == "updateuser" && payload->get("tavo_retrieve"));
    login = login || request.action == "firstlogin";
    order = order || request.action == "addpurchase";
  }
  EXPECT_TRUE(initialUpdate && startEvent && levelUp && login && order)
      << initialUpdate << startEvent << levelUp << login << order;
}

}  // namespace
}  // namespace tavo
