// How the command writes JSON.
#pragma once

#include <lmimport/Findings.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace lmi {

/// NaN and infinity, which JSON doesn't have, as texts.
nlohmann::ordered_json JsonNumber(double value);

nlohmann::ordered_json FindingsToJson(const std::vector<lmimport::Finding>& findings);

/// Bytes of a name that aren't UTF-8 are replaced.
std::string JsonText(const nlohmann::ordered_json& value);

}  // namespace lmi
