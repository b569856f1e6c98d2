#pragma once

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

struct UCollator;

namespace vantorel {

/// The order in which people who use a language expect names (ICU's collation, which keeps case and accents apart but
/// puts them last). One thread at a time.
class NameOrder {
public:
    /// `locale` as in the environment, for example "de_DE.UTF-8"; one that is not known gives the root order.
    explicit NameOrder(const QByteArray& locale = userLocale());
    ~NameOrder();
    NameOrder(const NameOrder&) = delete;
    NameOrder& operator=(const NameOrder&) = delete;

    /// Bytes that compare as the names do.
    QByteArray keyOf(const QString& name) const;

    /// Sorts entries by their `name`, ascending; those whose names compare equal keep their order.
    template <typename Entries> void sort(Entries& entries) const {
        std::vector<std::pair<QByteArray, typename Entries::value_type>> keyed;
        keyed.reserve(static_cast<std::size_t>(entries.size()));
        for (auto& entry : entries)
            keyed.emplace_back(keyOf(entry.name), std::move(entry));
        std::stable_sort(keyed.begin(), keyed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
        auto entry = entries.begin();
        for (auto& pair : keyed)
            *entry++ = std::move(pair.second);
    }

    /// The locale that the environment chooses for sorting: LC_ALL, LC_COLLATE or LANG, the first that is not empty.
    static QByteArray userLocale();

private:
    struct Close {
        void operator()(UCollator* collator) const;
    };
    std::unique_ptr<UCollator, Close> m_collator; // null when ICU has no data at all: names compare by code units
};

} // namespace vantorel
