#pragma once

#include <Telvora/Base/Export.h>
#include <Telvora/LoggableKit/Classes/QuorvexLogCategory.h>

#include <string>
#include <vector>

namespace telvora {

/// Which categories a host prints locally.
///
/// Threads: a value without a lock.
///
/// Deliberate: the library itself prints nothing; the host can ask needToPrint().
class TELVORA_EXPORT QuorvexLogFilter {
public:
    /// What is filtered.
    using Category = QuorvexLogCategory;

    /// Only the categories of the list; with an empty list none.
    static QuorvexLogFilter including(std::vector<Category> list);
    /// All categories but those of the list; with an empty list all.
    static QuorvexLogFilter excluding(std::vector<Category> list);
    /// Every category, also those that are made later.
    static QuorvexLogFilter all();
    /// No category.
    static QuorvexLogFilter none();

    /// The categories of uiCategories() alone.
    static QuorvexLogFilter onlyUI() { return including(uiCategories()); }
    /// All but those of uiCategories().
    static QuorvexLogFilter hideUI() { return excluding(uiCategories()); }
    /// The categories of networkingCategories() alone.
    static QuorvexLogFilter onlyNetworking() { return including(networkingCategories()); }
    /// All but those of networkingCategories().
    static QuorvexLogFilter hideNetworking() { return excluding(networkingCategories()); }
    /// The category of this name alone.
    static QuorvexLogFilter only(std::string category)
    {
        return including({ Category(std::move(category)) });
    }

    /// "First Frame", "Storyboard", "LifeCycle"
    static std::vector<Category> uiCategories();
    /// "APM-Http", "HTTP" and six more of the host.
    static std::vector<Category> networkingCategories();

    /// Whether lines of `category` are printed.
    bool needToPrint(const Category& category) const;

private:
    enum class Kind {
        /// The categories of the list.
        including,
        /// All but those of the list.
        excluding,
        /// Every category.
        all,
        /// No category.
        none,
    };

    QuorvexLogFilter(Kind kind, std::vector<Category> list)
        : m_kind(kind)
        , m_list(std::move(list))
    {
    }

    Kind m_kind;
    std::vector<Category> m_list;
};

} // namespace telvora
