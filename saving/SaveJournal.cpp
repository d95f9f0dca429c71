#include "saving/SaveJournal.h"

#include "saving/MediaChecksum.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <set>

namespace reelwright {
namespace {

    namespace fs = std::filesystem;
    constexpr std::string_view kTitle = "reelwright-journal 1 ";

    constexpr std::size_t kNameAt = 17; ///< of a note, behind its checksum

    std::string checksum(ByteSpan bytes)
    {
        StreamHash hash;
        hash.update(bytes);
        return fmt::format("{:016x}", hash.value());
    }

    /// One name for one file, without line ends.
    std::string lineName(const std::string& path)
    {
        std::error_code error;
        const auto whole = fs::weakly_canonical(fs::absolute(path), error);
        std::string name;
        for (const char character : error ? path : whole.string())
            name += character == '\n' || character == '%'
                ? fmt::format("%{:02X}", static_cast<unsigned char>(character))
                : std::string(1, character);
        return name;
    }

    /// The path that such a name stands for.
    std::string pathOf(std::string_view name)
    {
        std::string path;
        for (std::size_t i = 0; i < name.size(); ++i) {
            if (const auto code = name.substr(i, 3); code == "%0A" || code == "%25") {
                path += code == "%25" ? '%' : '\n';
                i += 2;
            } else
                path += name[i];
        }
        return path;
    }

    std::string lineOf(const std::string& path, ByteSpan header)
    {
        return checksum(header) + ' ' + lineName(path);
    }

} // namespace

Result<std::unique_ptr<SaveJournal>> SaveJournal::open(
    const std::string& path, const std::string& edits, Storage::Sync sync)
{
    const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (file < 0)
        return systemFailure(errno, path, "the journal cannot be opened");
    std::unique_ptr<SaveJournal> journal {new SaveJournal(file, path, sync)};
    if (::flock(file, LOCK_EX | LOCK_NB) != 0)
        return failure(MovieError::Code::Refused, path, "another run is using this journal");
    RW_CHECK(journal->read(std::string(kTitle) + checksum(std::as_bytes(std::span {edits}))));
    journal->removeLeftovers();
    return journal;
}

SaveJournal::~SaveJournal()
{
    ::close(m_file);
}

/// Takes in the lines that are whole: a run that was ended can have left a half one.
Result<void> SaveJournal::read(const std::string& title)
{
    std::string text;
    char part[1 << 16];
    for (ssize_t count = 0; (count = ::read(m_file, part, sizeof part)) != 0;) {
        if (count < 0)
            return systemFailure(errno, m_path, "the journal cannot be read");
        text.append(part, static_cast<std::size_t>(count));
    }
    if (text.find('\n') == std::string::npos && title.starts_with(text)) {
        if (::ftruncate(m_file, 0) != 0)
            return systemFailure(errno, m_path, "the journal cannot be written");
        return append(title);
    }
    std::string_view rest = text;
    bool isFirst = true;
    for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        const auto line = rest.substr(0, end);
        if (isFirst && line != title)
            return failure(MovieError::Code::Refused, m_path,
                line.starts_with(kTitle) ? "the journal belongs to other edits; name another one"
                                         : "the file is no journal of this program");
        if (!std::exchange(isFirst, false))
            m_notes.emplace(line);
        rest.remove_prefix(end + 1);
    }
    if (isFirst)
        return failure(MovieError::Code::Refused, m_path, "the file is no journal of this program");
    return rest.empty() ? Result<void> {} : append({}); // what comes begins on a line of its own
}

Result<void> SaveJournal::append(const std::string& line)
{
    const auto text = line + '\n';
    if (::write(m_file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        return systemFailure(errno, m_path, "the journal cannot be written");
    if (m_sync == Storage::Sync::On && ::fdatasync(m_file) != 0)
        return systemFailure(errno, m_path, "the journal cannot be written");
    return {};
}

bool SaveJournal::isDone(const std::string& path, const QTMovie& movie) const
{
    if (!movie.file())
        return false;
    const auto line = lineOf(path, movie.file()->header.span());
    const std::lock_guard lock {m_mutex};
    return m_notes.contains(line);
}

Result<void> SaveJournal::note(const std::string& path, ByteSpan header)
{
    const auto line = lineOf(path, header);
    const std::lock_guard lock {m_mutex};
    return append(line);
}

/// What became of such a save is no matter: its target is whole, the new movie or still the old one.
void SaveJournal::removeLeftovers() const
{
    std::map<fs::path, std::set<std::string>> namesOfFolders;
    for (const auto& note : m_notes) {
        const fs::path path = pathOf(std::string_view {note}.substr(std::min(kNameAt, note.size())));
        namesOfFolders[path.parent_path()].insert(path.filename().string());
    }
    for (const auto& [folder, names] : namesOfFolders) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(folder, error)) {
            const auto name = entry.path().filename().string();
            if (const auto of = Storage::siblingOf(name); !of.empty() && names.contains(of))
                ::unlink(entry.path().c_str());
        }
    }
}

} // namespace reelwright
