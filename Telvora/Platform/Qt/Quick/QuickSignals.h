#pragma once

#include <QtCore/QObject>
#include <QtCore/QSet>

#include <functional>
#include <utility>

class QQuickItem;

namespace telvora::detail {

/// Calls one function for the signals of objects whose classes are known by name alone.
///
/// Threads: the GUI thread.
class QuickSignals final : public QObject {
    Q_OBJECT

public:
    explicit QuickSignals(std::function<void()> touch)
        : m_touch(std::move(touch))
    {
    }

    /// When the property changes. Once for each object, whichever property is named.
    void watch(QObject& object, const char* property);
    /// When one of the properties changes that name a page.
    void watchNames(QObject& object);
    /// When items come and go in it, or it is shown or hidden.
    void watchChildren(QQuickItem& item);

public Q_SLOTS:
    void touch() { m_touch(); }

private:
    // Returns false if it was watched before.
    bool remember(QObject& object, QSet<const QObject*>& watched);
    void connectProperty(QObject& object, const char* property);

    const std::function<void()> m_touch;
    QSet<const QObject*> m_containers;
    QSet<const QObject*> m_named;
    QSet<const QObject*> m_parents;
};

} // namespace telvora::detail
