#pragma once

#include "tracks/ShownTime.h"

#include <QLineEdit>

#include <functional>

class QAction;

namespace reelwright {

/// A field for a time. While something is typed it says beside itself what that comes to, and marks what
/// cannot be read, with the reason.
class TimeEdit : public QLineEdit
{
    Q_OBJECT

public:
    using Remarks = std::function<ShownTime::Remark(const QString& typed)>;

    explicit TimeEdit(QWidget* parent = nullptr);

    void setRemarks(Remarks remarks);
    /// Can what stands in it not be read?
    [[nodiscard]] bool isWrong() const { return m_remark.isError; }
    [[nodiscard]] const ShownTime::Remark& remark() const { return m_remark; }
    /// Says it again below the field.
    void showRemark();
    /// Looks at the text again.
    void check();

signals:
    void remarkChanged();

private:
    Remarks m_remarks;
    ShownTime::Remark m_remark;
    QAction* m_mark = nullptr;
};

} // namespace reelwright
