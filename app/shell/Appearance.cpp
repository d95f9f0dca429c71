#include "app/shell/Appearance.h"

#include "support/Preferences.h"

#include <QApplication>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleOption>
#include <QToolTip>

namespace reelwright {
namespace {

    using Kind = Appearance::Kind;

    struct Shade
    {
        QPalette::ColorRole role;
        QRgb light;
        QRgb dark;
    };

    constexpr Shade kShades[] = {
        {QPalette::Window, 0xfff0f0f0, 0xff2b2b2d},
        {QPalette::WindowText, 0xff1c1c1e, 0xffe6e6e8},
        {QPalette::Base, 0xffffffff, 0xff1e1e20},
        {QPalette::AlternateBase, 0xfff6f6f7, 0xff252527},
        {QPalette::Text, 0xff1c1c1e, 0xffe6e6e8},
        {QPalette::PlaceholderText, 0xff66666b, 0xff9c9ca2},
        {QPalette::Button, 0xffececee, 0xff313134},
        {QPalette::ButtonText, 0xff1c1c1e, 0xffe6e6e8},
        {QPalette::BrightText, 0xffffffff, 0xffffffff},
        {QPalette::Light, 0xffffffff, 0xff4a4a4e},
        {QPalette::Midlight, 0xfff7f7f8, 0xff404044},
        {QPalette::Mid, 0xffb8b8bc, 0xff232325},
        {QPalette::Dark, 0xff9a9a9f, 0xff19191b},
        {QPalette::Shadow, 0xff6e6e73, 0xff101011},
        {QPalette::Highlight, 0xff2463b4, 0xff2f6fc0},
        {QPalette::HighlightedText, 0xffffffff, 0xffffffff},
        {QPalette::Link, 0xff1d5aa8, 0xff7db4f5},
        {QPalette::LinkVisited, 0xff6b3fa0, 0xffb79af0},
        {QPalette::ToolTipBase, 0xffffffe6, 0xff3f3f43},
        {QPalette::ToolTipText, 0xff1c1c1e, 0xffe6e6e8},
    };
    constexpr QPalette::ColorRole kTexts[]
        = {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::HighlightedText};

    /// The style of the fixed appearances, with its boxes made visible on a dark ground and its dialog
    /// buttons without icons.
    class FixedStyle final : public QProxyStyle
    {
    public:
        FixedStyle()
            : QProxyStyle(QStringLiteral("fusion"))
        {
        }

        void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
            const QWidget* widget) const override
        {
            const bool isBox = element == PE_IndicatorCheckBox || element == PE_IndicatorRadioButton;
            if (!isBox || option->palette.color(QPalette::Window).lightness() > 127) {
                QProxyStyle::drawPrimitive(element, option, painter, widget);
                return;
            }
            // The outline is made from the ground by darkening it.
            QStyleOptionButton box;
            if (const auto* button = qstyleoption_cast<const QStyleOptionButton*>(option))
                box = *button;
            else
                static_cast<QStyleOption&>(box) = *option;
            box.palette.setColor(QPalette::Window, QColor {kBoxOnDark});
            QProxyStyle::drawPrimitive(element, &box, painter, widget);
        }

        int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
            QStyleHintReturn* result) const override
        {
            if (hint == SH_DialogButtonBox_ButtonsHaveIcons)
                return 0;
            return QProxyStyle::styleHint(hint, option, widget, result);
        }

    private:
        static constexpr QRgb kBoxOnDark = 0xffb8b8be;
    };

    QPalette palette(Kind kind)
    {
        const bool isDark = kind == Kind::Dark;
        QPalette made;
        for (const auto& shade : kShades)
            made.setColor(shade.role, QColor {isDark ? shade.dark : shade.light});
        for (const auto role : kTexts)
            made.setColor(QPalette::Disabled, role, QColor {isDark ? 0xff7a7a80 : 0xff98989d});
        made.setColor(QPalette::Disabled, QPalette::Highlight, QColor {isDark ? 0xff48484c : 0xffd0d0d4});
        return made;
    }

} // namespace

Kind Appearance::wanted(const Preferences& preferences)
{
    auto text = qEnvironmentVariable("REELWRIGHT_APPEARANCE");
    if (text.isEmpty())
        text = QString::fromStdString(preferences.text("appearance"));
    for (const auto kind : {Kind::Light, Kind::Dark})
        if (text == name(kind))
            return kind;
    return Kind::System;
}

QString Appearance::name(Kind kind)
{
    switch (kind) {
    case Kind::Light:
        return QStringLiteral("light");
    case Kind::Dark:
        return QStringLiteral("dark");
    case Kind::System:
        break;
    }
    return QStringLiteral("system");
}

void Appearance::apply(Kind kind)
{
    static const auto desktopStyle = QApplication::style()->name();
    static auto current = Kind::System;
    if ((kind == Kind::System) != (current == Kind::System)) {
        if (kind == Kind::System)
            QApplication::setStyle(desktopStyle);
        else
            QApplication::setStyle(new FixedStyle);
    }
    current = kind;
    QApplication::setPalette(kind == Kind::System ? QPalette {} : palette(kind));
    // Tool tips have a palette of their own, which the application's does not reach.
    QToolTip::setPalette(QApplication::palette());
}

QColor Appearance::tone(const QPalette& palette, Tone tone)
{
    const bool isDark = palette.color(QPalette::Base).lightness() < 128;
    switch (tone) {
    case Tone::New:
        return isDark ? QColor(0x7f, 0xd0, 0x8a) : QColor(0x1e, 0x7d, 0x34);
    case Tone::Warning:
        return isDark ? QColor(0xff, 0xb3, 0x5c) : QColor(0xa0, 0x52, 0x00);
    case Tone::Error:
        return isDark ? QColor(0xff, 0x8a, 0x80) : QColor(0xb3, 0x26, 0x1e);
    case Tone::Information:
        return isDark ? QColor(0x8a, 0xb8, 0xff) : QColor(0x1a, 0x5f, 0xb4);
    }
    return palette.color(QPalette::Text);
}

} // namespace reelwright
