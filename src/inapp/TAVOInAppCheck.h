#pragma once

#include <optional>
#include <string>

#include "persistence/TAVOObservableTransmitObject.h"

namespace tavo {

class TAVOInAppRequest;

// Base of the in-app check payloads, one per format: each carries the host's custom id, delegate and (for
// the formats that send it) label, is sent at once, and is dropped rather than retried when sending fails.
class TAVOInAppCheck : public TAVOObservableTransmitObject {
 public:
  // Base init, the request's custom id and delegate, and its label when this format sends one.
  void initWithRequest(const TAVOInAppRequest& request);

  std::string getAction() const override { return "check"; }
  bool isInmediate() const override { return true; }
  bool removeOnError() const override { return true; }
  // The label under labelKey, when both are there.
  void appendParameters() override;

  std::optional<std::string> label;

 protected:
  // The wire name of the label; nullptr for a format that does not send it.
  virtual const char* labelKey() const { return nullptr; }
};

}  // namespace tavo
