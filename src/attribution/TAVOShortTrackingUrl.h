#pragma once

#include <string>

#include "persistence/TAVOTransmitObject.h"

namespace tavo {

// Asks the short-link service for the long URL behind a short tracking link. Sent at once; a failed resolve
// is dropped, not retried.
class TAVOShortTrackingUrl : public TAVOTransmitObject {
 public:
  // Base init, then "stu_id" = the link's identifier and "stu_subdomain" = its whole host.
  void initWithId(const std::string& shortUrlId, const std::string& subdomain);

  std::string getType() const override { return "stu"; }
  std::string getAction() const override { return "resolve"; }
  bool isInmediate() const override { return true; }
  bool removeOnError() const override { return true; }
  int operationResponseType() const override;
};

}  // namespace tavo
