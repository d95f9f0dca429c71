#pragma once

#include "batch/BackgroundScan.h"
#include "checks/RuleSet.h"
#include "movie/QTMovie.h"

#include <QDialog>
#include <QTimer>

#include <memory>

class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace reelwright {

/// Checks movies against a set of rules: passed or failed for each, what was found, and a button that offers
/// the edits which mend it. Changes nothing itself.
class CheckDialog final : public QDialog
{
    Q_OBJECT

public:
    using Ask = std::function<Result<Json>(const std::string& path)>;
    /// `facts` answers those of a movie; it is asked on a thread of its own. `mendText` is what the button
    /// says.
    CheckDialog(std::vector<std::string> paths, Ask facts, const QString& mendText, QWidget* parent);

signals:
    /// The button: options with their values, in the order of the rules.
    void mendAsked(const std::vector<std::string>& edits);

private:
    struct Answer
    {
        CheckResult result;
        std::string error;
    };

    void chooseRules(int index);
    void begin(const std::string& rules);
    void collect();
    void show(std::size_t index, const Answer& answer);
    void updateSummary();

    const std::vector<std::string> m_paths;
    const Ask m_facts;
    QComboBox* m_rules;
    QLabel* m_description;
    QTreeWidget* m_list;
    QLabel* m_summary;
    QPushButton* m_mend;
    int m_lastRules = -1;
    std::vector<std::string> m_edits;
    std::size_t m_checked = 0;
    std::size_t m_passed = 0;
    QTimer m_timer;
    std::unique_ptr<BackgroundScan<Answer>> m_scan;
};

} // namespace reelwright
