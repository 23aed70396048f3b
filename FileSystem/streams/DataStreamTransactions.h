#pragma once

#include <istream>
#include <utility>
#include <vector>

namespace FileSystem {

/// The transaction stack of an input stream: the positions where transactions
/// started, each with what the stream must bring back besides (`Extra`).
template <class Extra>
class DataIStreamTransactionStack {
public:
    /// Makes a failed stream usable again before a rollback. A stream that is
    /// bad cannot be repaired: false, and nothing changes. A stream that only
    /// failed (maybe at the end of input) is cleared to good.
    static bool repair(std::istream& stream) {
        const auto state = stream.rdstate();
        if ((state & (std::ios::failbit | std::ios::badbit)) == 0)
            return true;
        if (state & std::ios::badbit)
            return false;
        if (state & std::ios::eofbit)
            stream.unget();
        stream.clear();
        return true;
    }

    /// Pushes the stream's read position (`tellg`) with `extra`; true.
    bool start(std::istream& stream, Extra extra) {
        m_entries.push_back(Entry{stream.tellg(), std::move(extra)});
        return true;
    }

    /// Repairs the stream, then goes back to the last start and hands its
    /// extra data to `restore`. True also with no transaction open.
    template <class Restore>
    bool rollbackLast(std::istream& stream, Restore&& restore) {
        if (!repair(stream))
            return false;
        if (m_entries.empty())
            return true;
        Entry entry = std::move(m_entries.back());
        m_entries.pop_back();
        stream.seekg(entry.position);
        restore(std::move(entry.extra));
        return true;
    }

    /// Rolls back the transactions from the last to the first, so that the
    /// stream stands where the first one started; false, with the
    /// transactions not yet rolled back still open, when the stream is bad.
    template <class Restore>
    bool rollbackAll(std::istream& stream, Restore&& restore) {
        while (!m_entries.empty())
            if (!rollbackLast(stream, restore))
                return false;
        return true;
    }

    /// Forgets the last start (if any); true.
    bool commitLast() {
        if (!m_entries.empty())
            m_entries.pop_back();
        return true;
    }

    /// Forgets every start; true.
    bool commitAll() {
        m_entries.clear();
        return true;
    }

    /// Whether a transaction is open.
    bool active() const noexcept { return !m_entries.empty(); }

private:
    struct Entry {
        std::istream::pos_type position;
        Extra extra;
    };
    std::vector<Entry> m_entries;
};

} // namespace FileSystem
