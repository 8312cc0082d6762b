#pragma once

#include "pace.h"

class Operator;
class ProgramFolder;
class Spreadsheet;

/// What an import and an export have in common: what they work with, and that they can be ended.
template <typename View>
class RecipientTransfer
{
public:
    /// `paintEvery`: how often the view is shown something and events run; zero is after each
    /// record. All others must outlive the object.
    RecipientTransfer(const ProgramFolder &folder, Spreadsheet &spreadsheet, Operator &op,
                      View &view, Yield &yield,
                      std::chrono::milliseconds paintEvery = Interval::frame)
        : m_folder(folder)
        , m_spreadsheet(spreadsheet)
        , m_operator(op)
        , m_view(view)
        , m_yield(yield)
        , m_paintEvery(paintEvery)
    {
    }

    /// Ends the work after the record it is on.
    void abort() { m_abort = true; }

protected:
    const ProgramFolder &m_folder;
    Spreadsheet &m_spreadsheet;
    Operator &m_operator;
    View &m_view;
    Yield &m_yield;
    const std::chrono::milliseconds m_paintEvery;
    bool m_abort = false;
};
