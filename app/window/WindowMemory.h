#pragma once

class QMainWindow;
class QSplitter;

namespace reelwright {

/// Remembers where windows stood and how they were divided, from one to the next and from one start of the
/// program to another.
class WindowMemory
{
public:
    /// A window of the same kind that is open already is not covered.
    static void restore(QMainWindow& window, QSplitter& columns, QSplitter& rows);
    static void save(const QMainWindow& window, const QSplitter& columns, const QSplitter& rows);
};

} // namespace reelwright
