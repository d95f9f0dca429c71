#include "app/batch/BatchPane.h"
#include "app/panes/QuickTaskList.h"
#include "batch/BatchPanels.h"
#include "edits/SettingsEdits.h"
#include "timecode/KWTimecodeController.h"
#include "tracks/KWQuickTime.h"
#include "tracks/KWQuickTimeEditing.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleValidator>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace reelwright {
namespace {

    QString fromUtf8(const std::string& text)
    {
        return QString::fromStdString(text);
    }

    QLabel* makeNote(const QString& text)
    {
        auto* note = new QLabel(text);
        note->setWordWrap(true);
        note->setForegroundRole(QPalette::PlaceholderText);
        return note;
    }

    QHBoxLayout* atTheRight(QPushButton* button)
    {
        auto* row = new QHBoxLayout;
        row->addStretch();
        row->addWidget(button);
        return row;
    }

    QVBoxLayout* paneLayout(BatchPane* pane)
    {
        auto* layout = new QVBoxLayout(pane);
        layout->setContentsMargins(
            BatchPane::kMargin, BatchPane::kMargin, BatchPane::kMargin, BatchPane::kMargin);
        layout->setSpacing(BatchPane::kSpacing);
        return layout;
    }

    QString word(const char* text)
    {
        return QCoreApplication::translate("BatchPane", text);
    }

    class QuickTasksPane final : public BatchPane
    {
    public:
        explicit QuickTasksPane(BatchPanels& panels)
            : m_panels(panels)
            , m_list(new QuickTaskList(TaskPlace::Batch))
            , m_description(new QLabel)
            , m_queue(new QPushButton)
        {
            auto* layout = paneLayout(this);
            m_description->setWordWrap(true);
            m_description->setMinimumHeight(m_description->fontMetrics().height() * 3);
            m_description->setAlignment(Qt::AlignTop);
            layout->addWidget(m_list, 1);
            layout->addWidget(m_description);
            layout->addLayout(atTheRight(m_queue));
            connect(m_list, &QuickTaskList::currentChanged, this, &QuickTasksPane::changeQuickTask);
            connect(m_list, &QuickTaskList::activated, this, &QuickTasksPane::performQuickTask);
            connect(m_queue, &QPushButton::clicked, this, &QuickTasksPane::performQuickTask);
            for (const auto& task : quickTasks())
                if (task.path == TaskPath::MovieFolder)
                    m_list->setNote(task.tag, word("needs a folder"));
            changeQuickTask();
        }

    private:
        void changeQuickTask()
        {
            const auto* task = m_list->current();
            m_queue->setEnabled(task != nullptr);
            m_queue->setText(task && task->path == TaskPath::MovieFolder ? word("&Queue…") : word("&Queue"));
            if (const auto text = BatchPanels::changeQuickTask(task ? task->tag : 0))
                m_description->setText(fromUtf8(*text));
        }
        void performQuickTask()
        {
            if (const auto* task = m_list->current())
                m_panels.performQuickTask(task->tag);
        }

        BatchPanels& m_panels;
        QuickTaskList* m_list;
        QLabel* m_description;
        QPushButton* m_queue;
    };

    class SettingsPane final : public BatchPane
    {
    public:
        explicit SettingsPane(BatchPanels& panels)
            : m_panels(panels)
        {
            auto* layout = paneLayout(this);
            layout->addWidget(makeNote(word("Each click queues a change for all files.")));
            auto* playback = new QGroupBox(word("Playback"));
            auto* rows = new QGridLayout(playback);
            const auto addRow
                = [&](const char* text, void (BatchPanels::*set)(bool), const char* on, const char* off) {
                      const int row = rows->rowCount();
                      rows->addWidget(new QLabel(word(text)), row, 0);
                      int column = 1;
                      for (const bool value : {true, false}) {
                          auto* button = new QPushButton(word(value ? on : off));
                          button->setAccessibleName(word(text) + QLatin1Char(' ') + button->text());
                          connect(button, &QPushButton::clicked, this,
                              [this, set, value] { (m_panels.*set)(value); });
                          rows->addWidget(button, row, column++);
                      }
                  };
            addRow("Autoplay", &BatchPanels::movieSettingsAutoplayToggle, "On", "Off");
            addRow("Auto close", &BatchPanels::movieSettingsAutoCloseToggle, "On", "Off");
            addRow("Auto quit", &BatchPanels::movieSettingsAutoQuitToggle, "On", "Off");
            addRow("Controller", &BatchPanels::movieSettingsControllerShowHide, "Hide", "Show");
            rows->setColumnStretch(0, 1);
            layout->addWidget(playback);

            auto* picture = new QGroupBox(word("Picture"));
            auto* form = new QFormLayout(picture);
            auto* aperture = new QComboBox;
            aperture->addItems({word("Classic"), word("Clean"), word("Production"), word("Encoded Pixels")});
            auto* queue = new QPushButton(word("Queue"));
            queue->setAccessibleName(word("Queue the aperture mode"));
            connect(queue, &QPushButton::clicked, this, [this, aperture] {
                m_panels.movieSettingsApertureChange(static_cast<std::size_t>(aperture->currentIndex()));
            });
            auto* modeRow = new QHBoxLayout;
            modeRow->addWidget(aperture, 1);
            modeRow->addWidget(queue);
            form->addRow(word("A&perture mode:"), modeRow);
            static_cast<QLabel*>(form->labelForField(modeRow))->setBuddy(aperture);
            auto* turns = new QGridLayout;
            const std::pair<const char*, void (BatchPanels::*)()> actions[]
                = {{"Rotate Left", &BatchPanels::rotateLeft}, {"Rotate Right", &BatchPanels::rotateRight},
                    {"Flip (turn 180°)", &BatchPanels::flip}, {"Flop (mirror)", &BatchPanels::flop}};
            int place = 0;
            for (const auto& [text, turn] : actions) {
                auto* button = new QPushButton(word(text));
                connect(button, &QPushButton::clicked, this, [this, turn = turn] { (m_panels.*turn)(); });
                turns->addWidget(button, place / 2, place % 2);
                ++place;
            }
            form->addRow(turns);
            layout->addWidget(picture);
            layout->addStretch();
        }

    private:
        BatchPanels& m_panels;
    };

    class ConformPane final : public BatchPane
    {
    public:
        explicit ConformPane(BatchPanels& panels)
            : m_panels(panels)
            , m_rate(new QComboBox)
            , m_present(new QLabel)
        {
            auto* layout = paneLayout(this);
            auto* form = new QFormLayout;
            m_rate->setEditable(true);
            m_rate->addItems({QStringLiteral("23.976"), QStringLiteral("24"), QStringLiteral("25"),
                QStringLiteral("29.97"), QStringLiteral("30"), QStringLiteral("50"), QStringLiteral("59.94"),
                QStringLiteral("60")});
            m_rate->setCurrentText(QStringLiteral("25"));
            form->addRow(word("Conform movies to (frames per second):"), m_rate);
            form->addRow(word("Selected file:"), m_present);
            layout->addLayout(form);
            layout->addWidget(makeNote(
                word("All frames stay; they play faster or slower, the sound with them. A timecode track is "
                     "made anew at the new rate. The conform is part of each file's one save, after all "
                     "other changes.")));
            auto* queue = new QPushButton(word("&Queue"));
            connect(queue, &QPushButton::clicked, this,
                [this] { m_panels.conformFrameRate(m_rate->currentText().toStdString()); });
            layout->addLayout(atTheRight(queue));
            layout->addStretch();
        }
        void setMovie(const QTMovie* movie) override
        {
            const auto fps = movie ? KWQuickTime::fpsForMovie(*movie) : 0.0;
            m_present->setText(fps > 0 ? word("%1 frames per second").arg(fps, 0, 'g', 6) : word("none"));
        }

    private:
        BatchPanels& m_panels;
        QComboBox* m_rate;
        QLabel* m_present;
    };

    class TimecodePane final : public BatchPane
    {
    public:
        explicit TimecodePane(BatchPanels& panels)
            : m_panels(panels)
            , m_format(new QButtonGroup(this))
            , m_dropFrame(new QCheckBox(word("&Drop frame")))
            , m_negativeTimes(new QCheckBox(word("&Negative times allowed")))
            , m_limit24Hours(new QCheckBox(word("24-hour ma&ximum")))
            , m_start(new QLineEdit(QStringLiteral("01:00:00:00")))
            , m_reel(new QLineEdit)
        {
            auto* layout = paneLayout(this);
            auto* form = new QFormLayout;
            for (const auto& [id, text] :
                {std::pair {kCounter, "&Counter"}, std::pair {kTimecode, "T&imecode"}}) {
                auto* button = new QRadioButton(word(text));
                form->addRow(id == kCounter ? word("Format:") : QString {}, button);
                m_format->addButton(button, id);
            }
            m_format->button(kTimecode)->setChecked(true);
            for (auto* box : {m_dropFrame, m_negativeTimes, m_limit24Hours})
                form->addRow(box == m_dropFrame ? word("Flags:") : QString {}, box);
            form->addRow(word("&Start:"), m_start);
            m_reel->setMaxLength(255);
            form->addRow(word("&Reel:"), m_reel);
            layout->addLayout(form);
            layout->addWidget(makeNote(word(
                "Every file starts with this timecode. For a start of each file's own see Quick Tasks.")));
            auto* queue = new QPushButton(word("&Queue"));
            layout->addLayout(atTheRight(queue));
            layout->addStretch();
            connect(queue, &QPushButton::clicked, this, &TimecodePane::queue);
            connect(m_format, &QButtonGroup::idToggled, this, [this] {
                for (auto* box : {m_dropFrame, m_negativeTimes, m_limit24Hours})
                    box->setEnabled(m_format->checkedId() == kTimecode);
            });
        }

    private:
        static constexpr int kCounter = 0;
        static constexpr int kTimecode = 1;

        void queue()
        {
            m_panels.setTimecode({m_format->checkedId() == kCounter, m_start->text().toStdString(),
                m_reel->text().toStdString(), m_dropFrame->isChecked(), m_negativeTimes->isChecked(),
                m_limit24Hours->isChecked()});
        }

        BatchPanels& m_panels;
        QButtonGroup* m_format;
        QCheckBox* m_dropFrame;
        QCheckBox* m_negativeTimes;
        QCheckBox* m_limit24Hours;
        QLineEdit* m_start;
        QLineEdit* m_reel;
    };

} // namespace

BatchPane* makeQuickTasksBatchPane(BatchPanels& panels)
{
    return new QuickTasksPane(panels);
}

BatchPane* makeSettingsBatchPane(BatchPanels& panels)
{
    return new SettingsPane(panels);
}

BatchPane* makeConformBatchPane(BatchPanels& panels)
{
    return new ConformPane(panels);
}

BatchPane* makeTimecodeBatchPane(BatchPanels& panels)
{
    return new TimecodePane(panels);
}

} // namespace reelwright
