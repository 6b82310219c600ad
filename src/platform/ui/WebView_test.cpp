// The web view against a real loopback server: what its navigation delegate hears, and in which order.

#include "platform/ui/WebView.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

#include "ObservedHttpClient.h"
#include "RouteServer.h"
#include "UiTestEnvironment.h"
#include "platform/ui/ColorText.h"
#include "platform/ui/TouchDispatcher.h"
#include "platform/ui/UserInterface.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

namespace tavo::platform::ui {
namespace {

using Events = std::vector<std::string>;

// The pages of a site of its own, by path: a page may redirect, or hold its answer until the site goes.
class PageSite {
 public:
  struct Page {
    int status = 200;
    std::string body = {};
    std::string location = {};  // a 302 to there
    bool held = false;          // never answered while the test runs
  };

  ~PageSite() {
    std::lock_guard lock(mutex_);
    leaving_ = true;
    changed_.notify_all();
  }

  void set(const std::string& path, Page page) {
    std::lock_guard lock(mutex_);
    pages_[path] = std::move(page);
  }
  std::string url(const std::string& path) const { return server_.url(path); }
  // The User-Agent of each request so far.
  std::vector<std::string> userAgents() const {
    std::lock_guard lock(mutex_);
    return userAgents_;
  }
  bool waitForRequests(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return userAgents_.size() >= count; });
  }

 private:
  void serve(const httplib::Request& in, httplib::Response& out) {
    std::unique_lock lock(mutex_);
    userAgents_.push_back(in.get_header_value("User-Agent"));
    changed_.notify_all();
    const auto page = pages_.find(in.path);
    if (page == pages_.end()) return void(out.status = 404);
    if (page->second.held) changed_.wait(lock, [&] { return leaving_; });
    out.status = page->second.location.empty() ? page->second.status : 302;
    if (!page->second.location.empty()) out.set_header("Location", page->second.location);
    out.set_content(page->second.body, "text/html");
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::string, Page> pages_;
  std::vector<std::string> userAgents_;
  bool leaving_ = false;
  testing::RouteServer server_{[this](httplib::Server& s) {
    s.set_keep_alive_max_count(1);  // one answer per connection: the site goes at once when the test ends
    s.Get(".*", [this](const auto& in, auto& out) { serve(in, out); });
  }};
};

// A loopback address where nothing listens any more.
std::string refusingURL(const std::string& path) {
  const testing::RouteServer gone([](httplib::Server&) {});
  return gone.url(path);
}

class WebViewTest : public ::testing::Test {
 protected:
  WebViewTest() {
    env.platform().httpClient = http;
    delegate->decidePolicyForNavigationAction = [this](WebView&, const WebView::NavigationAction& action, auto decide) {
      events.push_back("decide " + path(action.request.url) + (action.targetsMainFrame ? "" : " (new window)"));
      if (hold) return held.push_back(decide);
      decide(path(action.request.url) == "/blocked" ? WebView::NavigationActionPolicy::Cancel
                                                    : WebView::NavigationActionPolicy::Allow);
    };
    delegate->decidePolicyForNavigationResponse = [this](WebView&, const WebView::NavigationResponse& r, auto decide) {
      events.push_back("response " + std::to_string(r.statusCode));
      decide(WebView::NavigationResponsePolicy::Allow);
    };
    delegate->didStartProvisionalNavigation = [this](WebView& w, auto&) {
      events.push_back("start " + path(*w.url()));
    };
    delegate->didReceiveServerRedirectForProvisionalNavigation = [this](WebView&, auto&) {
      events.push_back("redirect");
    };
    delegate->didCommitNavigation = [this](WebView&, auto&) { events.push_back("commit"); };
    delegate->didFinishNavigation = [this](WebView&, auto&) { events.push_back("finish"); };
    delegate->didFailNavigation = [this](WebView&, auto&, const auto& e) {
      events.push_back("fail " + std::to_string(e.code));
    };
    delegate->didFailProvisionalNavigation = [this](WebView&, auto&, const WebView::Error& e) {
      events.push_back("fail provisional " + std::to_string(e.code) + " " + e.localizedDescription);
    };
    web->setNavigationDelegate(delegate);
  }

  // The path of a loopback URL, as the events show it.
  static std::string path(const std::string& url) {
    const std::string loopback = "http://127.0.0.1:";
    if (url.rfind(loopback, 0) != 0) return url;
    const auto slash = url.find('/', loopback.size());
    return slash == std::string::npos ? "/" : url.substr(slash);
  }
  // Runs the main loop until the answers of count requests (since the test began) have arrived and been
  // handled; an answer handled may send the next request (a redirect).
  void network(std::size_t count) {
    env.drain();
    for (std::size_t i = 1; i <= count; ++i) {
      ASSERT_TRUE(http->waitForCompletions(i, 10));
      env.platform().operationQueue->waitUntilAllOperationsAreFinished();
      env.drain();
    }
  }

  testing::UiTestEnvironment env;
  PageSite server;
  std::shared_ptr<testing::ObservedHttpClient> http =
      std::make_shared<testing::ObservedHttpClient>(env.platform().operationQueue);
  std::shared_ptr<WebView> web = std::make_shared<WebView>(Rect{0, 0, 390, 600});
  std::shared_ptr<WebView::NavigationDelegate> delegate = std::make_shared<WebView::NavigationDelegate>();
  Events events;
  bool hold = false;
  std::vector<std::function<void(WebView::NavigationActionPolicy)>> held;
};

TEST_F(WebViewTest, APageIsDecidedStartedCommittedAndFinishedAndItsHTMLRead) {
  server.set(
      "/shop/page",
      {200,
       "<html><head><title>Spring &amp; sale</title><style>p{color:red} body { background: #336699 url(a.png) }"
       "</style></head><body><!-- <a href='/hidden'>no</a> --><a href=\"/next\">Next <b>page</b></a>"
       "<a href='other.html' target=_blank>Other</a><script>var a = '<a href=\"/no\">';</script></body></html>"});
  web->load(URLRequest{server.url("/shop/page")});
  EXPECT_TRUE(events.empty());  // nothing from inside load()
  network(1);
  EXPECT_EQ(events, (Events{"decide /shop/page", "start /shop/page", "response 200", "commit", "finish"}));
  EXPECT_EQ(web->title(), "Spring & sale");
  EXPECT_EQ(ColorText::hex(*web->page()->backgroundColor()), "#336699");
  ASSERT_EQ(web->page()->links().size(), 2u);
  EXPECT_EQ(web->page()->links()[0].href, server.url("/next"));
  EXPECT_EQ(web->page()->links()[0].text, "Next page");
  EXPECT_EQ(web->page()->links()[1].href, server.url("/shop/other.html"));
  EXPECT_FALSE(web->isLoading());
  EXPECT_NE(server.userAgents().at(0).find("AppleWebKit"), std::string::npos);

  events.clear();
  server.set("/missing", {404, "<title>Gone</title>"});
  web->load(URLRequest{server.url("/missing")});
  network(2);
  EXPECT_EQ(events, (Events{"decide /missing", "start /missing", "response 404", "commit", "finish"}));
  EXPECT_EQ(web->title(), "Gone");
}

TEST_F(WebViewTest, RefusedAndSilentServersFailTheProvisionalNavigation) {
  web->load(URLRequest{refusingURL("/page")});
  network(1);
  EXPECT_EQ(events, (Events{"decide /page", "start /page", "fail provisional -1004 Could not connect to the server."}));
  EXPECT_EQ(web->url(), std::nullopt);  // back to what was committed: nothing

  server.set("/slow", {.held = true});
  events.clear();
  web->load(URLRequest{server.url("/slow"), URLRequest::CachePolicy::UseProtocolCachePolicy, 10});
  env.platform().mainLoop->runPending();
  ASSERT_TRUE(server.waitForRequests(1));
  env.advance(9.9);
  EXPECT_EQ(events, (Events{"decide /slow", "start /slow"}));
  env.advance(0.2);
  EXPECT_EQ(events, (Events{"decide /slow", "start /slow", "fail provisional -1001 The request timed out."}));
  EXPECT_FALSE(web->isLoading());
}

TEST_F(WebViewTest, RedirectsAreDecidedAgainAndMayBeRefused) {
  server.set("/start", {.location = "/final?x=1"});
  server.set("/final", {200, "<title>Final</title>"});
  web->load(URLRequest{server.url("/start")});
  network(2);
  EXPECT_EQ(events, (Events{"decide /start", "start /start", "decide /final?x=1", "redirect", "response 200", "commit",
                            "finish"}));
  EXPECT_EQ(web->url(), server.url("/final?x=1"));

  events.clear();
  server.set("/start", {.location = server.url("/blocked")});
  web->load(URLRequest{server.url("/start")});
  network(3);
  EXPECT_EQ(events, (Events{"decide /start", "start /start", "decide /blocked",
                            "fail provisional 102 Frame load interrupted"}));
  EXPECT_EQ(web->url(), server.url("/final?x=1"));
}

TEST_F(WebViewTest, LinksFollowedByTouchOrByTheDriverAreDecidedLikeAnyNavigation) {
  const auto root = std::make_shared<ViewController>("Root");
  env.show(root);
  root->view()->addSubview(web);
  server.set(
      "/",
      {200, "<a href='/next'>Next</a><a href='myapp://promo/1'>App</a><a href='/popup' target='_blank'>Popup</a>"});
  server.set("/next", {200, "<title>Next</title>"});
  web->load(URLRequest{server.url("/")});
  network(1);
  events.clear();
  const auto rows = web->linkFrames();
  ASSERT_EQ(rows.size(), 3u);
  UserInterface::current().touches().tap(web->convertPointTo({rows[0].midX(), rows[0].midY()}, nullptr));
  network(2);
  EXPECT_EQ(events, (Events{"decide /next", "start /next", "response 200", "commit", "finish"}));

  events.clear();
  server.set("/", {200, "<a href='myapp://promo/1'>App</a><a href='/popup' target='_blank'>Popup</a>"});
  web->load(URLRequest{server.url("/")});
  network(3);
  events.clear();
  EXPECT_FALSE(web->followLink("/nowhere"));
  EXPECT_TRUE(web->followLink("myapp://promo/1"));
  env.advance(0);
  EXPECT_EQ(events, (Events{"decide myapp://promo/1", "fail provisional -1002 unsupported URL"}));
  events.clear();
  EXPECT_TRUE(web->followLink("/popup"));
  env.advance(0);
  EXPECT_EQ(events, (Events{"decide /popup (new window)"}));

  // A decision given later goes on from there; a newer navigation cancels one under way.
  events.clear();
  hold = true;
  server.set("/later", {.held = true});
  web->load(URLRequest{server.url("/later")});
  env.advance(0);
  ASSERT_EQ(held.size(), 1u);
  held.front()(WebView::NavigationActionPolicy::Allow);
  held.front()(WebView::NavigationActionPolicy::Cancel);  // a second answer is ignored
  EXPECT_TRUE(env.logged("decision handler was called twice"));
  web->loadHTMLString("<title>Inline</title>", std::nullopt);
  env.advance(0);
  held.back()(WebView::NavigationActionPolicy::Allow);
  env.drain();
  EXPECT_EQ(events, (Events{"decide /later", "start /later", "fail provisional -999 cancelled", "decide about:blank",
                            "start about:blank", "response 200", "commit", "finish"}));
  EXPECT_EQ(web->title(), "Inline");
}

TEST_F(WebViewTest, TheCachePolicySparesTheWireAndTheScanStaysBounded) {
  server.set("/c", {200, "<title>Cached</title>"});
  web->load(URLRequest{server.url("/c")});
  network(1);
  events.clear();
  web->load(URLRequest{server.url("/c"), URLRequest::CachePolicy::ReturnCacheDataElseLoad});
  env.drain();
  EXPECT_EQ(events.back(), "finish");
  EXPECT_EQ(server.userAgents().size(), 1u);
  web->load(URLRequest{server.url("/d"), URLRequest::CachePolicy::ReturnCacheDataDontLoad});
  env.drain();
  EXPECT_EQ(events.back(), "fail provisional -1008 resource unavailable");

  std::string page = "<body bgcolor=white>";
  for (int i = 0; i < 200000; ++i) page += "<a href='/" + std::to_string(i) + "'>&&&&&</a>";
  const auto parsed = HTMLPage::parse(page, "http://h/");
  EXPECT_EQ(parsed.links().size(), HTMLPage::kMaxLinks);
  EXPECT_EQ(parsed.links()[0].text, "&&&&&");
  EXPECT_EQ(HTMLPage::parse("<title>unterminated <a href='x", "http://h/").title(), "unterminated");
  EXPECT_EQ(HTMLPage::resolve("http://h/a/b/c?q#f", "../d/./e?x#y"), "http://h/a/d/e?x#y");
  EXPECT_EQ(HTMLPage::resolve("https://h/a/b", "//cdn/x"), "https://cdn/x");
  EXPECT_EQ(HTMLPage::resolve("http://h/a/b?q", "?r"), "http://h/a/b?r");
  EXPECT_EQ(HTMLPage::resolve("http://h", "x"), "http://h/x");
}

}  // namespace
}  // namespace tavo::platform::ui
