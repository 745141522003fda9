#include <Telvora/LoggableKit/Classes/QuorvexLogFilter.h>

#include <algorithm>

namespace telvora {

QuorvexLogFilter QuorvexLogFilter::including(std::vector<Category> list)
{
    return QuorvexLogFilter(Kind::including, std::move(list));
}

QuorvexLogFilter QuorvexLogFilter::excluding(std::vector<Category> list)
{
    return QuorvexLogFilter(Kind::excluding, std::move(list));
}

QuorvexLogFilter QuorvexLogFilter::all()
{
    return QuorvexLogFilter(Kind::all, {});
}

QuorvexLogFilter QuorvexLogFilter::none()
{
    return QuorvexLogFilter(Kind::none, {});
}

std::vector<QuorvexLogCategory> QuorvexLogFilter::uiCategories()
{
    return { Category("First Frame"), Category("Storyboard"), Category("LifeCycle") };
}

std::vector<QuorvexLogCategory> QuorvexLogFilter::networkingCategories()
{
    return { Category("APM-Http"), Category("HTTP"), Category("Client"), Category("WSStream"),
        Category("Firebase/Performance"), Category("SessionDependentTask"), Category("C2CFeed"),
        Category("Feed") };
}

bool QuorvexLogFilter::needToPrint(const Category& category) const
{
    const bool isListed = std::find(m_list.begin(), m_list.end(), category) != m_list.end();
    switch (m_kind) {
    case Kind::including:
        return isListed;
    case Kind::excluding:
        return !isListed;
    case Kind::all:
        return true;
    case Kind::none:
        return false;
    }
    return false;
}

} // namespace telvora
