#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/HttpClient.h"
#include "platform/MainLoop.h"
#include "platform/ui/HTMLPage.h"
#include "platform/ui/URLRequest.h"
#include "platform/ui/View.h"

namespace tavo::platform::ui {

// A web view without an engine: it loads pages through the platform's HttpClient and knows of each page
// what a scan of its HTML gives (title, background colour, links). Its navigation delegate hears, in the
// platform's order and never from inside the call that started the load:
//   decide-policy (for the page, and again for each server redirect) -> did-start-provisional
//   [-> did-receive-server-redirect] -> decide-policy-for-response -> did-commit -> did-finish,
// or did-fail-provisional when no page arrives (refused, timed out on the main loop's clock, unsupported
// scheme, cancelled) and did-fail when a committed page is interrupted. An HTTP error status is still a page
// (it commits). A link followed inside the page, by a tap on it or by followLink, goes through decide-policy
// like any navigation. Shows the page as its background colour, its title, its URL and its links, one per
// row. Main thread only.
class WebView : public View {
 public:
  struct Configuration {
    bool allowsInlineMediaPlayback = false;
  };
  struct Navigation {
    std::uint64_t identifier = 0;
  };
  enum class NavigationType {
    LinkActivated = 0,
    FormSubmitted = 1,
    BackForward = 2,
    Reload = 3,
    FormResubmitted = 4,
    Other = -1
  };
  enum class NavigationActionPolicy { Cancel = 0, Allow = 1 };
  enum class NavigationResponsePolicy { Cancel = 0, Allow = 1 };
  struct NavigationAction {
    URLRequest request;
    NavigationType navigationType = NavigationType::Other;
    bool targetsMainFrame = true;  // false for a link that opens a new window
  };
  struct NavigationResponse {
    std::string url;
    int statusCode = 0;
    std::string mimeType;
  };
  struct Error {
    std::string domain;
    long code = 0;
    std::string localizedDescription;
    std::string failingURL;
  };
  // Any member may be left empty; a missing decide-policy allows.
  struct NavigationDelegate {
    std::function<void(WebView&, const NavigationAction&, std::function<void(NavigationActionPolicy)> decision)>
        decidePolicyForNavigationAction;
    std::function<void(WebView&, const NavigationResponse&, std::function<void(NavigationResponsePolicy)> decision)>
        decidePolicyForNavigationResponse;
    std::function<void(WebView&, const Navigation&)> didStartProvisionalNavigation;
    std::function<void(WebView&, const Navigation&)> didReceiveServerRedirectForProvisionalNavigation;
    std::function<void(WebView&, const Navigation&)> didCommitNavigation;
    std::function<void(WebView&, const Navigation&)> didFinishNavigation;
    std::function<void(WebView&, const Navigation&, const Error&)> didFailNavigation;
    std::function<void(WebView&, const Navigation&, const Error&)> didFailProvisionalNavigation;
  };

  static constexpr int kMaximumRedirects = 20;
  static constexpr double kRowHeight = 44.0;

  explicit WebView(Rect frame = {}) : WebView(frame, Configuration()) {}
  WebView(Rect frame, Configuration configuration);
  ~WebView() override;
  std::string className() const override { return "WKWebView"; }
  static std::size_t liveCount();

  const Configuration& configuration() const { return configuration_; }
  // Held weakly, as the platform holds it.
  void setNavigationDelegate(std::weak_ptr<NavigationDelegate> delegate) { delegate_ = std::move(delegate); }

  std::shared_ptr<Navigation> load(const URLRequest& request);
  // The page is the text given; baseURL resolves its links (about:blank without one).
  std::shared_ptr<Navigation> loadHTMLString(const std::string& html, const std::optional<std::string>& baseURL);
  void stopLoading();
  std::shared_ptr<Navigation> reload();

  // The URL being loaded (from the provisional start), else the page's.
  const std::optional<std::string>& url() const { return url_; }
  const std::optional<std::string>& title() const { return title_; }
  bool isLoading() const { return loading_ != nullptr; }
  const std::optional<HTMLPage>& page() const { return page_; }

  // Follows a link of the page (its href as written or resolved), as a tap on it does; false when the page
  // has no such link.
  bool followLink(const std::string& href);
  // Where each of the page's links is shown, in this view's coordinates.
  std::vector<Rect> linkFrames() const;

  void touchesBegan(const Touches& touches) override;
  void touchesMoved(const Touches& touches) override;
  void touchesEnded(const Touches& touches) override;
  void touchesCancelled(const Touches& touches) override;

 private:
  enum class Phase { Deciding, Provisional, Committed };
  struct Load {
    std::uint64_t id = 0;
    std::shared_ptr<Navigation> navigation;
    URLRequest request;
    NavigationType type = NavigationType::Other;
    std::optional<std::string> html;
    Phase phase = Phase::Deciding;
    int redirects = 0;
    std::uint64_t serial = 0;  // of the request on the wire; answers to older ones are stale
    MainLoop::TimerId timeout = 0;
  };

  std::shared_ptr<Navigation> start(URLRequest request, NavigationType type, std::optional<std::string> html);
  void interrupt();
  void decide(const NavigationAction& action, std::function<void(bool allow)> then);
  void beginProvisional(std::uint64_t id);
  void send(std::uint64_t id);
  void received(std::uint64_t serial, std::optional<HttpResponse> response, std::optional<HttpError> error);
  void respond(std::uint64_t id, const HttpResponse& response);
  void commit(std::uint64_t id, const HttpResponse& response);
  void failProvisional(const Error& error);
  void cancelTimeout();
  bool current(std::uint64_t id) const { return loading_ && loading_->id == id; }
  std::shared_ptr<NavigationDelegate> delegate() const { return delegate_.lock(); }
  std::optional<std::size_t> linkAt(Point point) const;

  Configuration configuration_;
  std::weak_ptr<NavigationDelegate> delegate_;
  std::unique_ptr<Load> loading_;
  std::uint64_t nextId_ = 1;
  std::uint64_t nextSerial_ = 1;
  std::optional<std::string> url_;
  std::optional<std::string> committedURL_;
  std::optional<std::string> title_;
  std::optional<HTMLPage> page_;
  std::optional<URLRequest> lastRequest_;
  std::weak_ptr<MainLoop> loop_;
  std::optional<std::size_t> pressedLink_;
  Point pressStart_;
};

}  // namespace tavo::platform::ui
