#include "Script.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>
#include <QtGui/QPointingDevice>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

constexpr int betweenLines = 30;
constexpr int betweenTries = 50;
constexpr int patience = 5'000;

void complain(const QString& text)
{
    std::fprintf(stderr, "trading_app: %s\n", qPrintable(text));
}

// What is wrong with a line; null if nothing is.
const char* problemOf(const QStringList& words)
{
    const QString& verb = words.first();
    const auto isNumber = [&] {
        bool isOne = false;
        return words.size() == 2 && words[1].toInt(&isOne) >= 0 && isOne;
    };
    if (verb == "click")
        return words.size() == 2 ? nullptr : "click wants the name of an item";
    if (verb == "type")
        return words.size() >= 3 ? nullptr : "type wants the name of an item and a text";
    if (verb == "wait" || verb == "stall")
        return isNumber() ? nullptr : "wait and stall want a number of milliseconds";
    if (verb == "screenshot")
        return words.size() == 2 ? nullptr : "screenshot wants the name of a file";
    if (verb == "quit")
        return words.size() == 1 ? nullptr : "quit wants nothing";
    return "there is no such command";
}

// The item of this name that the user can see, the one in front first.
QQuickItem* findItem(QQuickItem& root, const QString& name)
{
    if (!root.isVisible())
        return nullptr;
    const auto children = root.childItems();
    for (auto child = children.rbegin(); child != children.rend(); ++child) {
        if (QQuickItem* const found = findItem(**child, name))
            return found;
    }
    return root.objectName() == name && root.isEnabled() ? &root : nullptr;
}

} // namespace

std::optional<QList<QStringList>> Script::read(const QString& file)
{
    QFile source(file);
    if (!source.open(QIODevice::ReadOnly | QIODevice::Text)) {
        complain(file + ": " + source.errorString());
        return std::nullopt;
    }
    QList<QStringList> lines;
    for (int number = 1; !source.atEnd(); ++number) {
        const QString line = QString::fromUtf8(source.readLine()).trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        lines.append(line.split(' ', Qt::SkipEmptyParts));
        if (const char* const problem = problemOf(lines.last())) {
            complain(QString("%1: line %2: %3").arg(file).arg(number).arg(problem));
            return std::nullopt;
        }
    }
    return lines;
}

Script::Script(QQuickWindow& window, QList<QStringList> lines, QString folder)
    : m_window(window)
    , m_lines(std::move(lines))
    , m_folder(std::move(folder))
{
}

void Script::start()
{
    // The signal may come from the thread that renders.
    connect(
        &m_window, &QQuickWindow::frameSwapped, this,
        [this] {
            if (std::exchange(m_isStarted, true))
                return;
            m_window.requestActivate();
            m_tries.start();
            QTimer::singleShot(betweenLines, this, &Script::run);
        },
        Qt::QueuedConnection);
}

void Script::run()
{
    if (m_next == m_lines.size())
        return;
    const QStringList& words = m_lines[m_next];
    if (words.first() == "quit") {
        end(0);
        return;
    }
    const auto wait = act(words);
    if (wait) {
        ++m_next;
        m_tries.start();
    } else if (m_tries.elapsed() > patience) {
        complain("the script: \"" + words.join(' ') + "\": there is no such item to click");
        end(1);
        return;
    }
    QTimer::singleShot(wait.value_or(betweenTries), this, &Script::run);
}

std::optional<int> Script::act(const QStringList& words)
{
    const QString& verb = words.first();
    if (verb == "wait")
        return words[1].toInt();
    if (verb == "stall") {
        std::this_thread::sleep_for(std::chrono::milliseconds(words[1].toInt()));
        m_window.update();
    } else if (verb == "screenshot") {
        takeScreenshot(words[1]);
    } else if (!click(words[1])) {
        return std::nullopt;
    } else if (verb == "type") {
        type(words.mid(2).join(' '));
    }
    return betweenLines;
}

bool Script::click(const QString& name)
{
    QQuickItem* const item = findItem(*m_window.contentItem(), name);
    if (!item)
        return false;
    const QPointF place = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    const auto send = [&](QEvent::Type type, Qt::MouseButton button, Qt::MouseButtons buttons) {
        QMouseEvent event(type, place, place, m_window.mapToGlobal(place), button, buttons,
            Qt::NoModifier, QPointingDevice::primaryPointingDevice());
        QCoreApplication::sendEvent(&m_window, &event);
    };
    send(QEvent::MouseMove, Qt::NoButton, Qt::NoButton);
    send(QEvent::MouseButtonPress, Qt::LeftButton, Qt::LeftButton);
    send(QEvent::MouseButtonRelease, Qt::LeftButton, Qt::NoButton);
    return true;
}

void Script::type(const QString& text)
{
    const auto send = [&](int key, Qt::KeyboardModifiers modifiers, const QString& letter) {
        for (const auto kind : { QEvent::KeyPress, QEvent::KeyRelease }) {
            QKeyEvent event(kind, key, modifiers, letter);
            QCoreApplication::sendEvent(&m_window, &event);
        }
    };
    send(Qt::Key_A, Qt::ControlModifier, {});
    for (const QChar letter : text)
        send(letter.toUpper().unicode(), Qt::NoModifier, letter);
}

void Script::takeScreenshot(const QString& file)
{
    m_screenshots.append({ file, m_window.grabWindow() });
}

void Script::end(int status)
{
    if (!m_screenshots.isEmpty() && !QDir().mkpath(m_folder)) {
        complain("cannot make the folder " + m_folder);
        status = 1;
    }
    for (const auto& [file, image] : m_screenshots) {
        const QString path = QDir(m_folder).filePath(file);
        if (!image.save(path)) {
            complain("cannot write " + path);
            status = 1;
        }
    }
    QCoreApplication::exit(status);
}
