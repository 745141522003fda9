#include <tools/host/InsideLines.h>

#include <utility>

namespace telvora::host {

SharedLines shareLines(const Array& lines)
{
    return SharedLines(new Array(copy(lines)), [](Array* array) {
        dispose(std::move(*array));
        delete array;
    });
}

void InsideLines::add(Order order)
{
    if (order.times <= 0)
        return;
    detail::MutexLock lock(m_lock);
    m_orders.push_back(std::move(order));
}

std::vector<SharedLines> InsideLines::take(std::string_view where, const std::string* index)
{
    std::vector<SharedLines> taken;
    detail::MutexLock lock(m_lock);
    for (Order& order : m_orders) {
        if (order.where != where || (order.index && (!index || *index != *order.index)))
            continue;
        taken.push_back(order.lines);
        --order.times;
    }
    std::erase_if(m_orders, [](const Order& order) { return order.times == 0; });
    return taken;
}

} // namespace telvora::host
