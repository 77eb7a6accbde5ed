#pragma once

#include <array>

/// The plugin's answers without anything that lives in the plugin.
using Answers = std::array<double, 30>;

/// The name and the type of what the plugin offers.
constexpr const char* answerName = "answer";
using AnswerFunction = bool(Answers*);
