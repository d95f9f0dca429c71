#include "cli/AtomsCommand.h"

#include "cli/FileReports.h"
#include "report/Printable.h"
#include "report/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    std::string notesOf(const AtomNode& node)
    {
        std::vector<std::string> notes;
        if (!node.note.empty())
            notes.push_back(printable(node.note));
        if (node.sizeForm == SizeForm::Extended)
            notes.emplace_back("64-bit size");
        if (node.sizeForm == SizeForm::ToEnd)
            notes.emplace_back("no size");
        if (node.isCutShort())
            notes.push_back(fmt::format("cut short: claims {} bytes", node.claimedSize));
        if (node.trailingBytes != 0)
            notes.push_back(fmt::format("{} bytes at the end are no atom", node.trailingBytes));
        return fmt::format("{}", fmt::join(notes, "; "));
    }

    /// Bytes of an atom that are read for its fields, and shown as such.
    constexpr std::size_t kFieldBytes = 64 * 1024;
    constexpr std::size_t kHexBytes = 512;

    void addRows(const std::vector<AtomNode>& nodes, std::size_t level, TextTable& table)
    {
        for (const auto& node : nodes) {
            table.addRow({std::to_string(node.offset), std::to_string(node.size),
                std::string(2 * level, ' ') + printable(node.type.text()), notesOf(node)});
            addRows(node.children, level + 1, table);
        }
    }

    /// "/moov/trak/tkhd" ends with "trak/tkhd"; whole names only.
    bool isFound(const std::string& path, const std::string& wanted)
    {
        return wanted.empty() || (path + '/').ends_with('/' + wanted + '/');
    }

    /// Calls `visit` with each atom that is asked for and its path.
    template <class Visit>
    void visitFound(const std::vector<AtomNode>& nodes, const std::string& above, const std::string& wanted,
        const Visit& visit)
    {
        for (const auto& node : nodes) {
            const auto path = above + '/' + node.type.text();
            if (isFound(path, wanted))
                visit(node, path);
            visitFound(node.children, path, wanted, visit);
        }
    }

    AtomDetail detailOf(const std::string& file, const AtomNode& node)
    {
        return AtomDetail::read(file, node, kFieldBytes).value_or(AtomDetail {});
    }

    ByteSpan shownBytes(const AtomDetail& detail)
    {
        return detail.bytes.span().first(std::min(detail.bytes.size(), kHexBytes));
    }

    /// Each atom for itself with what is in it.
    std::string detailedText(const std::string& file, const AtomTree& tree, const AtomsView& view)
    {
        std::string text;
        visitFound(tree.atoms, {}, view.find, [&](const AtomNode& node, const std::string& path) {
            const auto notes = notesOf(node);
            text += fmt::format("  {}  at {}, {} bytes{}{}\n", printable(path.substr(1)), node.offset,
                node.size, notes.empty() ? "" : "; ", notes);
            if (!view.fields && !view.hex)
                return;
            const auto detail = detailOf(file, node);
            if (view.fields) {
                TextTable table {{TextTable::Align::Right}};
                for (const auto& field : detail.fields)
                    table.addRow({std::to_string(node.offset + field.offset), field.name, field.value});
                text += table.text(4);
            }
            if (view.hex && node.children.empty()) {
                text += hexDump(shownBytes(detail), node.offset);
                if (node.size > kHexBytes)
                    text += fmt::format("{:>14}{} more bytes\n", "", node.size - kHexBytes);
            }
        });
        return text.empty() && !view.find.empty() ? fmt::format("  no atom \"{}\"\n", printable(view.find))
                                                  : text;
    }

    const char* sizeFormName(SizeForm form)
    {
        switch (form) {
        case SizeForm::Compact:
            break;
        case SizeForm::Extended:
            return "64-bit";
        case SizeForm::ToEnd:
            return "to-end";
        }
        return "32-bit";
    }

    std::string hexText(ByteSpan bytes)
    {
        std::string text;
        for (const auto byte : bytes)
            text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
        return text;
    }

    void addDetail(Json& json, const std::string& file, const AtomNode& node, const AtomsView& view)
    {
        if (!view.fields && !view.hex)
            return;
        const auto detail = detailOf(file, node);
        if (view.fields) {
            auto fields = Json::array();
            for (const auto& field : detail.fields)
                fields.push_back({{"name", field.name}, {"offset", node.offset + field.offset},
                    {"size", field.size}, {"value", field.value}});
            json["fields"] = std::move(fields);
        }
        if (view.hex && node.children.empty())
            json["hex"] = hexText(shownBytes(detail));
    }

    Json nodeJson(const std::string& file, const AtomNode& node, const AtomsView& view)
    {
        Json json {{"type", node.type.text()}, {"offset", node.offset}, {"size", node.size},
            {"sizeForm", sizeFormName(node.sizeForm)}};
        if (!node.note.empty())
            json["note"] = node.note;
        if (node.isCutShort())
            json["claimedSize"] = node.claimedSize;
        if (node.trailingBytes != 0)
            json["trailingBytes"] = node.trailingBytes;
        addDetail(json, file, node, view);
        if (!node.children.empty()) {
            auto children = Json::array();
            for (const auto& child : node.children)
                children.push_back(nodeJson(file, child, view));
            json["children"] = std::move(children);
        }
        return json;
    }

} // namespace

std::string atomsText(const std::string& file, const AtomTree& tree, const AtomsView& view)
{
    auto text = fmt::format("{}: {} bytes\n", printable(file), tree.fileSize);
    if (view.fields || view.hex || !view.find.empty()) {
        text += detailedText(file, tree, view);
    } else {
        using Align = TextTable::Align;
        TextTable table {{Align::Right, Align::Right}};
        table.addRow({"Offset", "Size", "Atom"});
        addRows(tree.atoms, 0, table);
        text += table.text(2);
    }
    for (const auto& [type, count] : tree.omitted)
        text += fmt::format("  and {} more {} (--all shows them)\n", count, printable(type));
    if (!tree.ending.empty())
        text += "  At the end: " + printable(tree.ending) + '\n';
    return text;
}

Json atomsJson(const std::string& file, const AtomTree& tree, const AtomsView& view)
{
    auto atoms = Json::array();
    if (view.find.empty())
        for (const auto& node : tree.atoms)
            atoms.push_back(nodeJson(file, node, view));
    else
        visitFound(tree.atoms, {}, view.find, [&](const AtomNode& node, const std::string& path) {
            auto json = nodeJson(file, node, view);
            json["path"] = path.substr(1);
            atoms.push_back(std::move(json));
        });
    Json json {{"file", file}, {"size", tree.fileSize}, {"atoms", std::move(atoms)}};
    if (!tree.omitted.empty())
        json["omitted"] = tree.omitted;
    json["ending"] = tree.ending.empty() ? Json {} : Json(tree.ending);
    json["problems"] = tree.problems;
    return json;
}

void AtomsCommand::addOptions(CLI::App& app)
{
    app.add_option("--depth", m_limits.depth, "Show N levels; 1 is the outermost only")
        ->option_text("N")
        ->check(CLI::Range(1, 1000));
    app.add_flag_callback(
        "--all", [this] { m_limits.alike = SIZE_MAX; }, "Show all atoms of the outermost level");
    app.add_flag("--fields", m_view.fields, "The fields of each atom by name");
    app.add_flag("--hex", m_view.hex, "The bytes of each atom that holds no others");
    app.add_option("--find", m_view.find, "Only atoms of this type, or whose path ends so\n(tkhd, trak/tkhd)")
        ->option_text("PATH");
}

int AtomsCommand::run(const Invocation& invocation)
{
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto tree, AtomTree::read(file, m_limits));
        FileReport report;
        if (invocation.format == OutputFormat::Text)
            report.text = atomsText(file, tree, m_view);
        else
            report.json = atomsJson(file, tree, m_view);
        report.problems = tree.problems;
        return report;
    });
}

} // namespace reelwright::cli
