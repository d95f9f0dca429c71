#pragma once

#include <QDialog>

#include <functional>
#include <system_error>
#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;

namespace reelwright {

class Preferences;

/// The settings that a user decides on. Each takes effect, and is kept, as soon as it is changed.
class PreferencesDialog final : public QDialog
{
    Q_OBJECT

public:
    /// `shared`: the settings of all programs of the maker.
    PreferencesDialog(Preferences& preferences, Preferences& shared, QWidget* parent = nullptr);

    void restoreDefaults();

signals:
    void appearanceChanged();
    void loggingChanged();

private:
    QComboBox* makeStartup();
    QComboBox* makeAppearance();
    /// `write` is called for what the user does only, not when the box is filled.
    QCheckBox* makeCheckBox(const QString& name, const QString& text, const std::function<bool()>& read,
        const std::function<void(bool)>& write);
    QWidget* makeFlattening();
    QWidget* makeOtherVolumes();
    QWidget* makeLogging();
    /// Shows what the preferences hold.
    void load();
    void report(std::error_code error);

    Preferences& m_preferences;
    Preferences& m_shared;
    std::vector<std::function<void()>> m_loaders; ///< one for each control
    QLabel* m_problem;
    bool m_isLoading = false;
};

} // namespace reelwright
