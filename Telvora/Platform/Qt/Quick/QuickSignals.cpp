#include <Telvora/Platform/Qt/Quick/QuickSignals.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtQuick/QQuickItem>

namespace telvora::detail {

bool QuickSignals::remember(QObject& object, QSet<const QObject*>& watched)
{
    if (watched.contains(&object))
        return false;
    watched.insert(&object);
    connect(&object, &QObject::destroyed, this,
        [&watched](const QObject* gone) { watched.remove(gone); });
    return true;
}

void QuickSignals::connectProperty(QObject& object, const char* property)
{
    static const int touchIndex = staticMetaObject.indexOfSlot("touch()");
    const QMetaObject* type = object.metaObject();
    const QMetaProperty found = type->property(type->indexOfProperty(property));
    if (found.hasNotifySignal())
        QMetaObject::connect(&object, found.notifySignalIndex(), this, touchIndex);
}

void QuickSignals::watch(QObject& object, const char* property)
{
    if (remember(object, m_containers))
        connectProperty(object, property);
}

void QuickSignals::watchNames(QObject& object)
{
    if (!remember(object, m_named))
        return;
    for (const char* name : { "telvoraScene", "telvoraPages", "telvoraDelegate" })
        connectProperty(object, name);
}

void QuickSignals::watchChildren(QQuickItem& item)
{
    if (!remember(item, m_parents))
        return;
    connect(&item, &QQuickItem::childrenChanged, this, &QuickSignals::touch);
    connect(&item, &QQuickItem::visibleChanged, this, &QuickSignals::touch);
}

} // namespace telvora::detail
