#include "app/panes/MovieSettingsPane.h"

#include "app/window/WindowActions.h"
#include "document/MyDocument.h"
#include "tracks/KWQuickTime.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    /// A button for an action of the window, with its text and its tool tip.
    QToolButton* makeButton(QAction* action)
    {
        auto* button = new QToolButton;
        button->setDefaultAction(action);
        button->setToolButtonStyle(Qt::ToolButtonTextOnly);
        button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        button->setFocusPolicy(Qt::StrongFocus);
        button->setAccessibleName(action->text().remove(QLatin1Char('&')));
        return button;
    }

} // namespace

MovieSettingsPane::MovieSettingsPane(MyDocument& document, const WindowActions& actions, QWidget* parent)
    : Pane(parent)
    , m_document(document)
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kMargin);
    layout->addWidget(makePlayback());
    layout->addWidget(makePicture(actions));
    layout->addStretch();
    reload();
}

QCheckBox* MovieSettingsPane::makeCheckBox(
    const QString& text, const QString& toolTip, void (MyDocument::*set)(bool))
{
    auto* box = new QCheckBox(text);
    box->setToolTip(toolTip);
    box->setAccessibleDescription(toolTip);
    // Clicks only: not when the box is filled from the movie.
    connect(box, &QCheckBox::clicked, this, [&document = m_document, set](bool on) { (document.*set)(on); });
    return box;
}

QWidget* MovieSettingsPane::makePlayback()
{
    auto* group = new QGroupBox(tr("Playback"));
    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(kSpacing);
    m_autoPlay = makeCheckBox(tr("&Autoplay"), tr("A player starts to play when it opens the movie."),
        &MyDocument::movieSettingsAutoplayToggle);
    m_autoClose = makeCheckBox(tr("Auto &close"), tr("A player closes the movie at its end."),
        &MyDocument::movieSettingsAutoCloseToggle);
    m_autoQuit = makeCheckBox(
        tr("Auto &quit"), tr("A player quits at the movie's end."), &MyDocument::movieSettingsAutoQuitToggle);
    m_hideController = makeCheckBox(tr("Hide c&ontroller"),
        tr("A player shows the movie without its controller."), &MyDocument::movieSettingsControllerShowHide);
    for (auto* box : {m_autoPlay, m_autoClose, m_autoQuit, m_hideController})
        layout->addWidget(box);
    return group;
}

QWidget* MovieSettingsPane::makePicture(const WindowActions& actions)
{
    auto* group = new QGroupBox(tr("Picture"));
    auto* layout = new QVBoxLayout(group);
    layout->setSpacing(kSpacing);

    m_aperture = new QComboBox;
    m_aperture->addItems({tr("Classic"), tr("Clean"), tr("Production"), tr("Encoded Pixels")});
    m_aperture->setToolTip(tr("Which part of the encoded picture players show, and in which shape."));
    m_aperture->setAccessibleName(tr("Aperture mode"));
    connect(m_aperture, &QComboBox::activated, this,
        [this](int index) { m_document.movieSettingsApertureChange(static_cast<std::size_t>(index)); });
    m_frameRate = new QLabel;
    m_frameRate->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_frameRate->setAccessibleName(tr("Frame rate"));
    auto* form = new QFormLayout;
    form->setSpacing(kSpacing);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(tr("A&perture mode:"), m_aperture);
    form->addRow(tr("Frame rate:"), m_frameRate);
    layout->addLayout(form);

    auto* buttons = new QGridLayout;
    buttons->setSpacing(kSpacing);
    buttons->addWidget(makeButton(actions.rotateLeft), 0, 0);
    buttons->addWidget(makeButton(actions.rotateRight), 0, 1);
    buttons->addWidget(makeButton(actions.flip), 1, 0);
    buttons->addWidget(makeButton(actions.flop), 1, 1);
    layout->addLayout(buttons);
    return group;
}

void MovieSettingsPane::reload()
{
    const auto settings = m_document.loadMovieSettings();
    m_autoPlay->setChecked(settings.autoPlay);
    m_autoClose->setChecked(settings.autoClose);
    m_autoQuit->setChecked(settings.autoQuit);
    m_hideController->setChecked(settings.controllerHidden);
    m_aperture->setCurrentIndex(static_cast<int>(settings.apertureIndex));
    const bool hasRate = KWQuickTime::fpsForMovie(m_document.movie()) > 0;
    m_frameRate->setText(
        hasRate ? tr("%1 fps").arg(QString::fromStdString(settings.conformFrameRate)) : tr("None"));
}

} // namespace reelwright
