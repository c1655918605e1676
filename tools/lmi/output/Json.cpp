#include "output/Json.h"

#include <cmath>

namespace lmi {

nlohmann::ordered_json JsonNumber(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  return value;
}

nlohmann::ordered_json FindingsToJson(const std::vector<lmimport::Finding>& findings) {
  auto list = nlohmann::ordered_json::array();
  const auto orNull = [](bool stated, auto value) {
    return stated ? nlohmann::ordered_json(value) : nlohmann::ordered_json();
  };
  for (const lmimport::Finding& finding : findings)
    list.push_back({{"Warning", finding.Warning},
                    {"Code", finding.Code},
                    {"Position", orNull(finding.Position >= 0, finding.Position)},
                    {"Block", orNull(finding.Block >= 0, finding.Block + 1)},
                    {"Channel", orNull(finding.Channel >= 0, finding.Channel + 1)},
                    {"Text", finding.Text}});
  return list;
}

std::string JsonText(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace lmi
