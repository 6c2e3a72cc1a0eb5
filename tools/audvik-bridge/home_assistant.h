#pragma once

#include <string>
#include <vector>

#include "MqttClient.h"

/// What tells Home Assistant of each field to which the names file gives a name and a range: a
/// command's as a number or a switch, one that is only told as a sensor.
std::vector<tools::MqttMessage> homeAssistantEntities(std::string const& set);
