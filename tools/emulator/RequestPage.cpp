#include "emulator/RequestPage.h"

namespace tavo::emulator {

namespace {

using ordered_json = nlohmann::ordered_json;

std::string lines(const std::vector<std::string>& items) {
  std::string cell;
  for (const auto& item : items) {
    if (!cell.empty()) cell += "<br>";
    cell += RequestPage::escaped(item.empty() ? "-" : item);
  }
  return cell;
}

std::string answerCell(const RecordedRequest& request) {
  std::string answer = std::to_string(request.answerStatus);
  if (!request.failure.empty()) answer += " (" + request.failure + ")";
  std::string cell = RequestPage::escaped(answer);
  // Which campaign each in-app check got.
  for (const auto& check : InAppLedger::checkOutcomes(request))
    cell += "<br>" + RequestPage::escaped(check.checkType + ": " +
                                          (check.campaignId.empty() ? "no campaign" : "campaign " + check.campaignId));
  return cell;
}

std::string inAppTable(const std::vector<InAppLedger::Entry>& entries) {
  if (entries.empty()) return "<p>In-app: no check, impression or click yet.</p>\n";
  std::string table =
      "<h2>In-app campaigns</h2>\n<table><tr><th>campaign type</th><th>campaign</th><th>checks answered</th>"
      "<th>impressions</th><th>clicks</th></tr>\n";
  for (const auto& entry : entries) {
    table += "<tr><td>" + std::to_string(entry.campaignType) + "</td><td>" +
             RequestPage::escaped(entry.campaignId.empty() ? "(none)" : entry.campaignId) + "</td><td>" +
             std::to_string(entry.checks) + "</td><td>" + std::to_string(entry.impressions) + "</td><td>" +
             std::to_string(entry.clicks) + "</td></tr>\n";
  }
  return table + "</table>\n<h2>Requests</h2>\n";
}

}  // namespace

std::string RequestPage::escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string RequestPage::html(const std::vector<RecordedRequest>& newestFirst, std::size_t total,
                              const std::string& baseURL, const ordered_json& switches,
                              const std::vector<InAppLedger::Entry>& inApp) {
  std::string page =
      "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><meta http-equiv=\"refresh\" content=\"3\">"
      "<title>TAVO emulator</title><style>"
      "body{font-family:sans-serif;margin:1.5em}table{border-collapse:collapse;width:100%}"
      "th,td{border-bottom:1px solid #ddd;padding:4px 8px;text-align:left;vertical-align:top;font-size:13px}"
      "td.params{font-family:monospace;word-break:break-all}.failed{color:#b00}"
      "</style></head><body>\n<h1>TAVO web-service emulator</h1>\n";
  page += "<p>Base URL <code>" + escaped(baseURL) + "</code>: " + std::to_string(total) +
          " requests received (newest first). <a href=\"/requests.json\">JSON</a></p>\n";
  page += "<p>Failure switches: <code>" + escaped(switches.dump()) + "</code></p>\n";
  page += inAppTable(inApp);
  page +=
      "<table><tr><th>#</th><th>time (UTC)</th><th>action</th><th>operations</th><th>key parameters</th>"
      "<th>answer</th></tr>\n";
  for (const auto& request : newestFirst) {
    const bool failed = request.answerStatus >= 400 || !request.failure.empty();
    page += std::string("<tr") + (failed ? " class=\"failed\"" : "") + "><td>" + std::to_string(request.id) +
            "</td><td>" + escaped(request.time) + "</td><td>" + escaped(request.action) + "<br><small>" +
            escaped(request.kind) + "</small></td><td>" + lines(request.operationTypes()) +
            "</td><td class=\"params\">" + lines(request.keyParameters()) + "</td><td>" + answerCell(request) +
            "</td></tr>\n";
  }
  page += "</table>\n</body></html>\n";
  return page;
}

std::string RequestPage::json(const std::vector<RecordedRequest>& newestFirst, std::size_t total) {
  ordered_json list = ordered_json::array();
  for (const auto& request : newestFirst) {
    ordered_json entry = request.toJSON();
    entry["operationTypes"] = request.operationTypes();
    entry["keyParameters"] = request.keyParameters();
    list.push_back(std::move(entry));
  }
  return ordered_json{{"total", total}, {"requests", std::move(list)}}.dump(2, ' ', false,
                                                                            ordered_json::error_handler_t::replace);
}

}  // namespace tavo::emulator
