#pragma once

#include "batch/FileSummary.h"
#include "movie/QTMovie.h"

#include <QWidget>

#include <memory>

class QFormLayout;
class QLabel;
class QPushButton;
class QToolButton;

namespace reelwright {

class MovieView;
class Scrubber;

/// The selected file of a batch: its picture, what it is, and a way to open it. Opens the file elsewhere, so
/// that the interface waits for no disk; of files that are selected one after the other the last one counts.
class FilePreview final : public QWidget
{
    Q_OBJECT

public:
    explicit FilePreview(std::shared_ptr<Storage> storage, QWidget* parent = nullptr);
    ~FilePreview() override;

    void show(const std::string& path);
    /// Shows nothing, and holds no file.
    void clear();
    /// Null while there is none.
    [[nodiscard]] const QTMovie* movie() const { return m_movie.get(); }
    /// The report on it.
    [[nodiscard]] const QString& report() const { return m_report; }

signals:
    /// There is another movie, or none.
    void movieChanged();
    void openAsked();

private:
    struct Loaded;

    void take(Loaded loaded);
    void showFacts(const FileSummary& summary);
    void followTime(const QTTime& time);

    std::shared_ptr<Storage> m_storage;
    std::string m_path;
    std::shared_ptr<const QTMovie> m_movie;
    QString m_report;
    MovieView* m_view;
    Scrubber* m_scrubber;
    QToolButton* m_play;
    QLabel* m_time;
    QLabel* m_name;
    QFormLayout* m_facts;
    QPushButton* m_open;
};

} // namespace reelwright
