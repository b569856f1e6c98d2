#pragma once

#include <QHash>
#include <QList>

#include <algorithm>
#include <utility>
#include <vector>

namespace vantorel {

namespace detail {

/// Marks the values of a longest ascending subsequence of `values`, which are distinct and below `bound`.
inline std::vector<bool> longestAscending(const std::vector<qsizetype>& values, qsizetype bound) {
    std::vector<std::size_t> lastOfLength; // the place of the smallest value that ends a sequence of length index + 1
    std::vector<std::size_t> previous(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        const auto found =
            std::lower_bound(lastOfLength.begin(), lastOfLength.end(), values[i],
                             [&values](std::size_t place, qsizetype value) { return values[place] < value; });
        previous[i] = found == lastOfLength.begin() ? i : *(found - 1);
        if (found == lastOfLength.end())
            lastOfLength.push_back(i);
        else
            *found = i;
    }
    std::vector<bool> marked(static_cast<std::size_t>(bound));
    if (lastOfLength.empty())
        return marked;
    for (std::size_t i = lastOfLength.back();; i = previous[i]) {
        marked[static_cast<std::size_t>(values[i])] = true;
        if (previous[i] == i)
            return marked;
    }
}

} // namespace detail

/// Turns the list whose keys are `from` into the one whose keys are `to`, step by step, so that a model can announce
/// each step and never has to throw its rows away. Keys may occur several times: their occurrences are paired in order.
///
/// Calls, in this order: `rows.remove(first, count)`; `rows.move(row, destination)`, the destination being the row's
/// index after the move; `rows.insert(first, count)`, for rows that stand at these indices of `to`. A run of rows is
/// one step, and no more rows are moved than need be, so that a single removal, insertion or move is a single call.
/// Rows that stay keep their values: whoever has values that can change under a key compares them afterwards.
template <typename Key, typename Rows> void changeRows(const QList<Key>& from, const QList<Key>& to, Rows&& rows) {
    qsizetype first = 0;
    const qsizetype shorter = std::min(from.size(), to.size());
    while (first < shorter && from[first] == to[first])
        ++first;
    qsizetype same = 0; // at the end
    while (same < shorter - first && from[from.size() - 1 - same] == to[to.size() - 1 - same])
        ++same;

    const qsizetype toCount = to.size() - same - first;
    const qsizetype fromCount = from.size() - same - first;
    QHash<std::pair<Key, int>, qsizetype> places; // in `to`, counted from `first`
    if (fromCount > 0) {
        QHash<Key, int> occurrences;
        for (qsizetype i = 0; i < toCount; ++i)
            places.insert({to[first + i], occurrences[to[first + i]]++}, i);
    }

    std::vector<qsizetype> left; // where each row goes; -1: nowhere
    std::vector<bool> isThere(static_cast<std::size_t>(toCount));
    QHash<Key, int> occurrences;
    for (qsizetype i = 0; i < fromCount; ++i) {
        const qsizetype place = places.value({from[first + i], occurrences[from[first + i]]++}, -1);
        left.push_back(place);
        if (place >= 0)
            isThere[static_cast<std::size_t>(place)] = true;
    }
    for (qsizetype end = fromCount; end > 0; --end) {
        qsizetype begin = end;
        while (begin > 0 && left[static_cast<std::size_t>(begin - 1)] < 0)
            --begin;
        if (begin < end)
            rows.remove(first + begin, end - begin);
        end = std::max(begin, qsizetype{1});
    }
    std::erase(left, -1);

    // From the last row to the first: each one that cannot stay goes before the one that follows it.
    const auto stays = detail::longestAscending(left, toCount);
    auto next = left.end();
    for (qsizetype place = toCount - 1; place >= 0; --place) {
        if (!isThere[static_cast<std::size_t>(place)])
            continue;
        auto row = std::find(left.begin(), left.end(), place);
        if (!stays[static_cast<std::size_t>(place)]) {
            const auto destination = next > row ? next - 1 : next;
            rows.move(first + (row - left.begin()), first + (destination - left.begin()));
            if (row < destination)
                std::rotate(row, row + 1, destination + 1);
            else
                std::rotate(destination, row, row + 1);
            row = destination;
        }
        next = row;
    }

    for (qsizetype begin = 0; begin < toCount; ++begin) {
        qsizetype end = begin;
        while (end < toCount && !isThere[static_cast<std::size_t>(end)])
            ++end;
        if (begin < end)
            rows.insert(first + begin, end - begin);
        begin = end;
    }
}

/// Calls `report(first, last)` for each run of rows below `count` for which `holds(row)`. The rows of a run have all
/// been asked for before it is reported.
template <typename Holds, typename Report> void eachRun(qsizetype count, Holds&& holds, Report&& report) {
    for (qsizetype first = 0; first < count; ++first) {
        qsizetype end = first;
        while (end < count && holds(end))
            ++end;
        if (first < end)
            report(first, end - 1);
        first = end;
    }
}

} // namespace vantorel
