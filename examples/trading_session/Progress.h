#pragma once

#include "Desk.h"

#include <chrono>
#include <string>

/// Shows how the session goes: a table that is drawn again in place where the output is a terminal,
/// and a plain line now and then where it is not.
class Progress {
public:
    explicit Progress(const Desk& desk);

    /// Begins a stretch of the session under a title of its own.
    void begin(const std::string& title);

    /// Draws what there is now. Cheap enough to be called every tenth of a second.
    void update();

private:
    void drawTable();
    void printLine();

    const Desk& m_desk;
    const bool m_isTerminal;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    std::chrono::steady_clock::time_point m_lastLine {};
    std::string m_title;
    bool m_isDrawn = false;
};
