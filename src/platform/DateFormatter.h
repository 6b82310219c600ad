#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/TimeZone.h"
#include "tavo/platform/Date.h"

namespace tavo::platform {

// Dates to text and back with a fixed pattern in one time zone, without locale machinery per call.
// Pattern letters: yyyy, MM, dd, HH, mm, ss, SSS (other characters are literal; 'text' quotes literals).
class DateFormatter {
 public:
  DateFormatter(std::string pattern, TimeZone zone);

  std::string stringFromDate(Date date) const;
  // nullopt when the text does not match the pattern exactly or names an impossible date.
  std::optional<Date> dateFromString(const std::string& text) const;

 private:
  // The pattern split once: a run of one pattern letter (letter, width) or literal text (letter 0).
  struct Field {
    char letter = 0;
    int width = 0;
    std::string literal;
  };

  std::string pattern_;
  TimeZone zone_;
  std::vector<Field> fields_;
};

}  // namespace tavo::platform
