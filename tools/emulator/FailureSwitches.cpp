#include "emulator/FailureSwitches.h"

#include <algorithm>
#include <utility>

#include "platform/MutexLock.h"

namespace tavo::emulator {

namespace {

// One of count for this request, if any is left.
bool takeOne(int& count) {
  if (count <= 0) return false;
  --count;
  return true;
}

}  // namespace

std::string FailureSwitches::Plan::description() const {
  std::string text;
  auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
  if (status) add("status " + std::to_string(*status));
  if (body) add("body of " + std::to_string(body->size()) + " bytes");
  if (notJSON) add("not JSON");
  if (closeMidBody) add("closed mid-body");
  if (delayMilliseconds > 0) add("delay " + std::to_string(delayMilliseconds) + " ms");
  return text;
}

void FailureSwitches::refuseConnections(int count) {
  platform::MutexLock lock(mutex_);
  refuse_ = std::max(count, 0);
}

void FailureSwitches::answerStatus(int status, int count) {
  platform::MutexLock lock(mutex_);
  status_ = status;
  statusCount_ = std::max(count, 0);
}

void FailureSwitches::answerBody(std::string body, int count) {
  platform::MutexLock lock(mutex_);
  body_ = std::move(body);
  bodyCount_ = std::max(count, 0);
}

void FailureSwitches::answerNotJSON(int count) {
  platform::MutexLock lock(mutex_);
  notJSON_ = std::max(count, 0);
}

void FailureSwitches::closeMidBody(int count) {
  platform::MutexLock lock(mutex_);
  closeMidBody_ = std::max(count, 0);
}

void FailureSwitches::delayAnswers(int milliseconds, int count) {
  platform::MutexLock lock(mutex_);
  delayMilliseconds_ = std::max(milliseconds, 0);
  delayCount_ = std::max(count, 0);
}

void FailureSwitches::reset() {
  platform::MutexLock lock(mutex_);
  refuse_ = statusCount_ = bodyCount_ = notJSON_ = closeMidBody_ = delayCount_ = 0;
}

bool FailureSwitches::takeRefusal() {
  platform::MutexLock lock(mutex_);
  if (!takeOne(refuse_)) return false;
  ++refused_;
  return true;
}

FailureSwitches::Plan FailureSwitches::takePlan() {
  platform::MutexLock lock(mutex_);
  Plan plan;
  if (takeOne(statusCount_)) plan.status = status_;
  if (takeOne(bodyCount_)) plan.body = body_;
  plan.notJSON = takeOne(notJSON_);
  plan.closeMidBody = takeOne(closeMidBody_);
  if (takeOne(delayCount_)) plan.delayMilliseconds = delayMilliseconds_;
  return plan;
}

std::size_t FailureSwitches::refusedConnections() const {
  platform::MutexLock lock(mutex_);
  return refused_;
}

nlohmann::ordered_json FailureSwitches::state() const {
  platform::MutexLock lock(mutex_);
  return {{"refuseConnections", refuse_},
          {"answerStatus", {{"status", status_}, {"count", statusCount_}}},
          {"answerBody", {{"bytes", body_.size()}, {"count", bodyCount_}}},
          {"answerNotJSON", notJSON_},
          {"closeMidBody", closeMidBody_},
          {"delay", {{"milliseconds", delayMilliseconds_}, {"count", delayCount_}}},
          {"refusedSoFar", refused_}};
}

}  // namespace tavo::emulator
