// TestPlugin.h: what a test plug-in and the test that loads it tell each other.
#pragma once

#include <functional>
#include <string>

/// The data of InitPlugin: what happened to plug-ins, a word each, in order.
struct PluginJournal {
    std::string words;
    std::function<void()> onRelease;
};
