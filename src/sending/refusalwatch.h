#pragma once

#include "runrecord.h"
#include "sendmail.h"

#include <vector>

/// Tells from the server's replies to recipients what no single one of them shows.
class RefusalWatch
{
public:
    /// So many refusals in a row, each of which may be meant for everybody, are.
    static constexpr size_t forEverybody = 3;

    /// Takes the reply to a recipient who was `former` before. True: it is the latest of so many in
    /// a row; those before it, which were recorded, are in toGiveBack().
    bool isForEverybody(const SendResult &result, const OutcomeWriter::Former &former)
    {
        using Kind = SendResult::Kind;
        if (!result.maybeForEverybody) {
            if (result.kind != Kind::NoSession && result.kind != Kind::SessionLost) {
                m_row.clear();
                m_isEverybody = false;
            }
            return false;
        }
        m_isEverybody = m_isEverybody || m_row.size() + 1 >= forEverybody;
        if (!m_isEverybody)
            m_row.push_back(former);
        return m_isEverybody;
    }
    /// Hands them over once.
    std::vector<OutcomeWriter::Former> toGiveBack() { return std::exchange(m_row, {}); }

    /// Counts a recipient's outcome. True when a list as bad as this one costs its sender the right
    /// to send: the server has refused 20 in a row for good, or more than a third of the first 100.
    bool isBadList(const SendResult &result)
    {
        const bool isRefused = result.kind == SendResult::Kind::Refused && result.code >= 500;
        m_refusedInRow = isRefused ? m_refusedInRow + 1 : 0;
        if (++m_count <= firstOnes && isRefused)
            ++m_refusedFirst;
        return m_refusedInRow == mostInRow ||
               (m_count <= firstOnes && isRefused && m_refusedFirst == mostOfFirst);
    }

private:
    static constexpr int mostInRow = 20;
    static constexpr int firstOnes = 100;
    static constexpr int mostOfFirst = firstOnes / 3 + 1;

    std::vector<OutcomeWriter::Former> m_row;
    bool m_isEverybody = false;
    int m_count = 0;
    int m_refusedInRow = 0;
    int m_refusedFirst = 0;
};
