#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtGui/QImage>

#include <optional>
#include <utility>

class QQuickItem;
class QQuickWindow;

/// Does what a user would do, line by line, with mouse and key events:
///
///     click NAME              clicks in the middle of the item with this objectName
///     type NAME TEXT          clicks in it and replaces its text
///     wait MILLISECONDS
///     stall MILLISECONDS      blocks the GUI thread
///     screenshot FILE         in the folder of the script's results
///     quit
///
/// Empty lines and those that begin with # are skipped. An item that is not there yet is waited for
/// a few seconds. Where a line fails, the program says which and why, and ends with status 1.
///
/// Threads: the GUI thread.
class Script final : public QObject {
    Q_OBJECT

public:
    /// Absent, with a line on standard error, if the file cannot be read or a line is wrong.
    static std::optional<QList<QStringList>> read(const QString& file);

    Script(QQuickWindow& window, QList<QStringList> lines, QString folder);

    /// Begins with the first frame of the window.
    void start();

private:
    void run();
    // Does a line. Returns how long to wait until the next, absent if the line is to be tried
    // again.
    std::optional<int> act(const QStringList& words);
    bool click(const QString& name);
    void type(const QString& text);
    void takeScreenshot(const QString& file);
    void end(int status);

    QQuickWindow& m_window;
    const QList<QStringList> m_lines;
    const QString m_folder;
    qsizetype m_next = 0;
    // Since the first try of the line.
    QElapsedTimer m_tries;
    bool m_isStarted = false;
    // Written at the end: writing one takes longer than a frame.
    QList<std::pair<QString, QImage>> m_screenshots;
};
