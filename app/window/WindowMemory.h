#pragma once

class QHeaderView;
class QMainWindow;
class QSplitter;

namespace reelwright {

/// Remembers where windows stood, how they were divided and which columns their table had, from one to the next and from one start of the
/// program to another.
class WindowMemory
{
public:
    /// A window of the same kind that is open already is not covered.
    static void restore(QMainWindow& window, QSplitter& columns, QSplitter& rows, QHeaderView& table);
    static void save(const QMainWindow& window, const QSplitter& columns, const QSplitter& rows,
        const QHeaderView& table);
};

} // namespace reelwright
