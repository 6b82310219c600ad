#include "platform/ui/WebView.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>
#include <utility>

#include "platform/Platform.h"
#include "platform/ui/URLCache.h"
#include "platform/ui/UserInterface.h"

namespace tavo::platform::ui {

namespace {

std::atomic<std::size_t> liveWebViews{0};

constexpr const char* kURLErrorDomain = "NSURLErrorDomain";
constexpr const char* kWebKitErrorDomain = "WebKitErrorDomain";
constexpr const char* kUserAgent =
    "Mozilla/5.0 (iPhone; CPU iPhone OS 17_0 like Mac OS X) AppleWebKit/605.1.15 (KHTML, like Gecko) Mobile/15E148";
constexpr double kLinksTop = 80.0;
constexpr double kMargin = 16.0;
constexpr double kTapSlop = 10.0;

WebView::Error urlError(long code, std::string description, const std::string& url) {
  return {kURLErrorDomain, code, std::move(description), url};
}

WebView::Error frameLoadInterrupted(const std::string& url) {
  return {kWebKitErrorDomain, 102, "Frame load interrupted", url};
}

WebView::Error errorFor(const HttpError& error, const std::string& url) {
  switch (error.code) {
    case HttpError::CannotConnect: return urlError(-1004, "Could not connect to the server.", url);
    case HttpError::TimedOut: return urlError(-1001, "The request timed out.", url);
    case HttpError::ConnectionLost: return urlError(-1005, "The network connection was lost.", url);
    case HttpError::BadURL: return urlError(-1000, "bad URL", url);
    case HttpError::SecureConnectionFailed:
      return urlError(-1200, "An SSL error has occurred and a secure connection to the server cannot be made.", url);
    case HttpError::Cancelled: return urlError(-999, "cancelled", url);
    case HttpError::Unknown: break;
  }
  return urlError(-1, "unknown error", url);
}

std::string schemeOf(const std::string& url) {
  const std::size_t colon = url.find(':');
  std::string scheme = url.substr(0, colon == std::string::npos ? 0 : colon);
  for (char& c : scheme) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return scheme;
}

std::optional<std::string> header(const HttpResponse& response, const std::string& name) {
  for (const auto& [field, value] : response.headerFields) {
    if (field.size() != name.size()) continue;
    if (std::equal(field.begin(), field.end(), name.begin(), [](char a, char b) {
          return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
        }))
      return value;
  }
  return std::nullopt;
}

bool isRedirect(int status) {
  return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

}  // namespace

WebView::WebView(Rect frame, Configuration configuration) : View(frame), configuration_(configuration) {
  ++liveWebViews;
  setBackgroundColor(Color{1, 1, 1, 1});
}

WebView::~WebView() {
  --liveWebViews;
  if (loading_ && loading_->timeout)
    if (const auto loop = loop_.lock()) loop->cancel(loading_->timeout);
}

std::size_t WebView::liveCount() { return liveWebViews.load(); }

std::shared_ptr<WebView::Navigation> WebView::load(const URLRequest& request) {
  UserInterface::checkMainThread("WebView::load");
  return start(request, NavigationType::Other, std::nullopt);
}

std::shared_ptr<WebView::Navigation> WebView::loadHTMLString(const std::string& html,
                                                             const std::optional<std::string>& baseURL) {
  UserInterface::checkMainThread("WebView::loadHTMLString");
  return start(URLRequest{baseURL.value_or("about:blank")}, NavigationType::Other, html);
}

std::shared_ptr<WebView::Navigation> WebView::reload() {
  if (!lastRequest_) return nullptr;
  return start(*lastRequest_, NavigationType::Reload, std::nullopt);
}

void WebView::stopLoading() { interrupt(); }

std::shared_ptr<WebView::Navigation> WebView::start(URLRequest request, NavigationType type,
                                                    std::optional<std::string> html) {
  interrupt();
  if (!std::isfinite(request.timeoutInterval) || request.timeoutInterval <= 0) request.timeoutInterval = 60.0;
  auto load = std::make_unique<Load>();
  load->id = nextId_++;
  load->navigation = std::make_shared<Navigation>(Navigation{load->id});
  load->request = request;
  load->type = type;
  load->html = std::move(html);
  if (!load->html) lastRequest_ = request;
  const auto id = load->id;
  auto navigation = load->navigation;
  loading_ = std::move(load);
  const auto loop = Platform::shared().mainLoop;
  loop_ = loop;
  std::weak_ptr<View> weak = weak_from_this();
  // Nothing is called back from inside the call that started the load.
  loop->post([weak, id] {
    const auto self = std::static_pointer_cast<WebView>(weak.lock());
    if (!self || !self->current(id)) return;
    const NavigationAction action{self->loading_->request, self->loading_->type, true};
    self->decide(action, [weak, id](bool allow) {
      const auto view = std::static_pointer_cast<WebView>(weak.lock());
      if (!view || !view->current(id)) return;
      if (!allow) return view->loading_.reset();
      view->beginProvisional(id);
    });
  });
  return navigation;
}

// A newer navigation, or stopLoading, ends the one under way: cancelled.
void WebView::interrupt() {
  if (!loading_) return;
  cancelTimeout();
  const auto old = std::move(loading_);
  const auto self = shared_from_this();
  const auto d = delegate();
  const Error cancelled = urlError(-999, "cancelled", old->request.url);
  if (old->phase == Phase::Provisional) {
    url_ = committedURL_;
    if (d && d->didFailProvisionalNavigation) d->didFailProvisionalNavigation(*this, *old->navigation, cancelled);
  } else if (old->phase == Phase::Committed) {
    if (d && d->didFailNavigation) d->didFailNavigation(*this, *old->navigation, cancelled);
  }
}

void WebView::decide(const NavigationAction& action, std::function<void(bool allow)> then) {
  const auto d = delegate();
  if (!d || !d->decidePolicyForNavigationAction) return then(true);
  const auto self = shared_from_this();
  auto answered = std::make_shared<bool>(false);
  // A handler never called leaves the navigation waiting, as on the platform.
  d->decidePolicyForNavigationAction(*this, action, [answered, then](NavigationActionPolicy policy) {
    if (*answered) return UserInterface::log("WebView: a navigation's decision handler was called twice");
    *answered = true;
    then(policy == NavigationActionPolicy::Allow);
  });
}

void WebView::beginProvisional(std::uint64_t id) {
  loading_->phase = Phase::Provisional;
  const std::string url = loading_->request.url;
  const std::string scheme = schemeOf(url);
  if (!loading_->html && scheme != "http" && scheme != "https" && url != "about:blank")
    return failProvisional(urlError(-1002, "unsupported URL", url));
  url_ = url;
  const auto self = shared_from_this();
  if (const auto d = delegate(); d && d->didStartProvisionalNavigation)
    d->didStartProvisionalNavigation(*this, *loading_->navigation);
  if (!current(id)) return;
  if (loading_->html || url == "about:blank") {
    HttpResponse page{200, {{"Content-Type", "text/html"}}, loading_->html.value_or("")};
    std::weak_ptr<View> weak = weak_from_this();
    Platform::shared().mainLoop->post([weak, id, page] {
      const auto view = std::static_pointer_cast<WebView>(weak.lock());
      if (view && view->current(id)) view->respond(id, page);
    });
    return;
  }
  send(id);
}

void WebView::send(std::uint64_t id) {
  Load& load = *loading_;
  const auto loop = Platform::shared().mainLoop;
  std::weak_ptr<View> weak = weak_from_this();
  using Policy = URLRequest::CachePolicy;
  if (load.request.cachePolicy == Policy::ReturnCacheDataElseLoad ||
      load.request.cachePolicy == Policy::ReturnCacheDataDontLoad) {
    const auto cached = UserInterface::current().urlCache().cachedResponse(load.request.url);
    if (cached || load.request.cachePolicy == Policy::ReturnCacheDataDontLoad) {
      loop->post([weak, id, cached] {
        const auto view = std::static_pointer_cast<WebView>(weak.lock());
        if (!view || !view->current(id)) return;
        if (cached) return view->respond(id, *cached);
        view->failProvisional(urlError(-1008, "resource unavailable", view->loading_->request.url));
      });
      return;
    }
  }
  const std::uint64_t serial = nextSerial_++;
  load.serial = serial;
  HttpRequest request;
  request.method = "GET";
  request.url = load.request.url;
  request.headerFields = {{"User-Agent", kUserAgent},
                          {"Accept", "text/html,application/xhtml+xml,application/xml;q=0.9,*/*;q=0.8"}};
  request.timeoutSeconds = load.request.timeoutInterval;
  load.timeout = loop->postAfter(load.request.timeoutInterval, [weak, serial] {
    const auto view = std::static_pointer_cast<WebView>(weak.lock());
    if (!view || !view->loading_ || view->loading_->serial != serial) return;
    view->loading_->timeout = 0;
    view->failProvisional(urlError(-1001, "The request timed out.", view->loading_->request.url));
  });
  Platform::shared().httpClient->send(
      std::move(request), [weak, loop, serial](std::optional<HttpResponse> response, std::optional<HttpError> error) {
        loop->post([weak, serial, response = std::move(response), error = std::move(error)] {
          if (const auto view = std::static_pointer_cast<WebView>(weak.lock())) view->received(serial, response, error);
        });
      });
}

void WebView::received(std::uint64_t serial, std::optional<HttpResponse> response, std::optional<HttpError> error) {
  if (!loading_ || loading_->serial != serial || loading_->phase != Phase::Provisional) return;  // stale
  cancelTimeout();
  const std::string url = loading_->request.url;
  if (error || !response) return failProvisional(errorFor(error.value_or(HttpError{}), url));
  const auto location = header(*response, "Location");
  if (!isRedirect(response->statusCode) || !location) return respond(loading_->id, *response);

  if (++loading_->redirects > kMaximumRedirects)
    return failProvisional(urlError(-1007, "too many HTTP redirects", url));
  URLRequest next = loading_->request;
  next.url = HTMLPage::resolve(url, *location);
  const auto id = loading_->id;
  std::weak_ptr<View> weak = weak_from_this();
  decide(NavigationAction{next, NavigationType::Other, true}, [weak, id, next](bool allow) {
    const auto view = std::static_pointer_cast<WebView>(weak.lock());
    if (!view || !view->current(id) || view->loading_->phase != Phase::Provisional) return;
    if (!allow) return view->failProvisional(frameLoadInterrupted(next.url));
    view->loading_->request = next;
    view->url_ = next.url;
    if (const auto d = view->delegate(); d && d->didReceiveServerRedirectForProvisionalNavigation)
      d->didReceiveServerRedirectForProvisionalNavigation(*view, *view->loading_->navigation);
    if (view->current(id)) view->send(id);
  });
}

void WebView::respond(std::uint64_t id, const HttpResponse& response) {
  if (!loading_->html) UserInterface::current().urlCache().store(loading_->request.url, response);
  const auto d = delegate();
  if (!d || !d->decidePolicyForNavigationResponse) return commit(id, response);
  std::string mime = header(response, "Content-Type").value_or("text/html");
  mime = mime.substr(0, mime.find(';'));
  const NavigationResponse answer{loading_->request.url, response.statusCode, mime};
  const auto self = shared_from_this();
  auto answered = std::make_shared<bool>(false);
  std::weak_ptr<View> weak = weak_from_this();
  d->decidePolicyForNavigationResponse(*this, answer, [weak, id, response, answered](NavigationResponsePolicy policy) {
    if (*answered) return UserInterface::log("WebView: a response's decision handler was called twice");
    *answered = true;
    const auto view = std::static_pointer_cast<WebView>(weak.lock());
    if (!view || !view->current(id)) return;
    if (policy == NavigationResponsePolicy::Cancel)
      return view->failProvisional(frameLoadInterrupted(view->loading_->request.url));
    view->commit(id, response);
  });
}

void WebView::commit(std::uint64_t id, const HttpResponse& response) {
  loading_->phase = Phase::Committed;
  page_ = HTMLPage::parse(response.body, loading_->request.url);
  url_ = committedURL_ = loading_->request.url;
  title_ = page_->title();
  setNeedsDisplay();
  const auto self = shared_from_this();
  if (const auto d = delegate(); d && d->didCommitNavigation) d->didCommitNavigation(*this, *loading_->navigation);
  if (!current(id)) return;
  std::weak_ptr<View> weak = weak_from_this();
  // The page finishes on a later turn, as an engine's parsing would.
  Platform::shared().mainLoop->post([weak, id] {
    const auto view = std::static_pointer_cast<WebView>(weak.lock());
    if (!view || !view->current(id) || view->loading_->phase != Phase::Committed) return;
    const auto navigation = view->loading_->navigation;
    view->loading_.reset();
    if (const auto d = view->delegate(); d && d->didFinishNavigation) d->didFinishNavigation(*view, *navigation);
  });
}

void WebView::failProvisional(const Error& error) {
  if (!loading_) return;
  cancelTimeout();
  const auto old = std::move(loading_);
  url_ = committedURL_;
  const auto self = shared_from_this();
  if (const auto d = delegate(); d && d->didFailProvisionalNavigation)
    d->didFailProvisionalNavigation(*this, *old->navigation, error);
}

void WebView::cancelTimeout() {
  if (!loading_ || !loading_->timeout) return;
  if (const auto loop = loop_.lock()) loop->cancel(loading_->timeout);
  loading_->timeout = 0;
}

// Links

std::vector<Rect> WebView::linkFrames() const {
  std::vector<Rect> frames;
  if (!page_) return frames;
  const double width = std::max(0.0, bounds().width() - 2 * kMargin);
  for (std::size_t i = 0; i < page_->links().size(); ++i)
    frames.push_back({kMargin, kLinksTop + kRowHeight * static_cast<double>(i), width, kRowHeight});
  return frames;
}

std::optional<std::size_t> WebView::linkAt(Point point) const {
  const auto frames = linkFrames();
  for (std::size_t i = 0; i < frames.size(); ++i)
    if (frames[i].contains(point)) return i;
  return std::nullopt;
}

bool WebView::followLink(const std::string& href) {
  UserInterface::checkMainThread("WebView::followLink");
  if (!page_) return false;
  const std::string resolved = HTMLPage::resolve(committedURL_.value_or("about:blank"), href);
  const auto& links = page_->links();
  const auto link =
      std::find_if(links.begin(), links.end(), [&](const auto& l) { return l.href == href || l.href == resolved; });
  if (link == links.end()) return false;
  const URLRequest request{link->href};
  if (link->target == "_blank") {
    // A new window: the policy is asked, and without a window to open it in, nothing loads.
    decide(NavigationAction{request, NavigationType::LinkActivated, false}, [](bool) {});
    return true;
  }
  start(request, NavigationType::LinkActivated, std::nullopt);
  return true;
}

void WebView::touchesBegan(const Touches& touches) {
  pressStart_ = touches.front()->locationIn(this);
  pressedLink_ = linkAt(pressStart_);
}

void WebView::touchesMoved(const Touches& touches) {
  const Point p = touches.front()->locationIn(this);
  if (std::hypot(p.x - pressStart_.x, p.y - pressStart_.y) > kTapSlop) pressedLink_.reset();
}

void WebView::touchesEnded(const Touches& touches) {
  const auto pressed = std::exchange(pressedLink_, std::nullopt);
  if (!pressed || linkAt(touches.front()->locationIn(this)) != pressed || !page_) return;
  followLink(page_->links()[*pressed].href);
}

void WebView::touchesCancelled(const Touches&) { pressedLink_.reset(); }

}  // namespace tavo::platform::ui
