#pragma once

#include <QWidget>

#include <functional>
#include <vector>

class QVBoxLayout;

namespace reelwright {

/// What is true of the document's file and worth knowing, in bars under the menu. They go when it is true no
/// more; those that only inform can be closed.
class BannerBar final : public QWidget
{
    Q_OBJECT

public:
    enum class Kind { Information, Warning };
    struct Button
    {
        QString text;
        std::function<void()> work;
    };
    struct Banner
    {
        QString name; ///< tells banners apart: one that was closed stays so
        Kind kind = Kind::Information;
        QString title;
        QString text;
        std::vector<Button> buttons;
    };

    explicit BannerBar(QWidget* parent = nullptr);

    void show(const std::vector<Banner>& banners);

private:
    QWidget* makeBar(const Banner& banner);

    QVBoxLayout* m_layout;
    QStringList m_shown;
    QStringList m_closed;
};

} // namespace reelwright
