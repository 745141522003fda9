#pragma once

#include "Desk.h"

#include <chrono>
#include <string>

/// Shows the progress of the session: a table that is redrawn in place where the output is a
/// terminal, else a plain line every two seconds.
class Progress {
public:
    explicit Progress(const Desk& desk);

    /// Begins a part of the session and prints its title.
    void begin(const std::string& title);

    /// Shows the present counts. Cheap enough to be called every tenth of a second.
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
