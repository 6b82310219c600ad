#include "DroppingHttpClient.h"

namespace tavo::bench {

void DroppingHttpClient::send(platform::HttpRequest request, Completion) {
  lastBodySize_.store(request.body.size());
  requests_.fetch_add(1);
}

}  // namespace tavo::bench
