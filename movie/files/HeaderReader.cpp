#include "movie/files/HeaderReader.h"

#include "movie/atoms/ByteReader.h"
#include "movie/atoms/HeaderAtoms.h"

#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>

namespace reelwright {
namespace {

    /// The `moov` inside a compressed header (`cmov`: `dcom` names the method, `cmvd` holds size and data).
    Result<Atom> inflateHeader(const Atom& moov, std::vector<MovieWarning>& warnings)
    {
        const auto* method = moov.find({"cmov"_cc, "dcom"_cc});
        const auto* data = moov.find({"cmov"_cc, "cmvd"_cc});
        if (!method || !data)
            return failure(MovieError::Code::Corrupt, "moov/cmov", "the compressed header lacks its parts",
                moov.sourceOffset);
        ByteReader methodIn {method->head.span()};
        if (const auto name = methodIn.fourCC(); name != "zlib"_cc)
            return failure(MovieError::Code::Unsupported, "moov/cmov/dcom",
                fmt::format("the header is compressed by an unknown method ({})", name.text()),
                method->sourceOffset);
        ByteReader in {data->head.span(), "moov/cmov/cmvd"};
        const auto claimed = in.u32();
        const auto packed = in.rest();
        RW_CHECK(in.finish(true));
        // Deflate cannot do better than this, so a larger claim is a lie that must not be believed with
        // memory.
        constexpr std::uint64_t kBestRatio = 1032;
        if (claimed > packed.size() * kBestRatio + 64)
            return failure(MovieError::Code::Corrupt, "moov/cmov/cmvd",
                fmt::format("{} bytes cannot hold a header of {} bytes", packed.size(), claimed),
                data->sourceOffset);
        int status = Z_OK;
        auto size = static_cast<uLongf>(claimed);
        const auto bytes = Bytes::make(claimed, [&](std::span<std::byte> out) {
            std::fill(out.begin(), out.end(), std::byte {});
            // zlib's interface takes bytes as unsigned char.
            status = ::uncompress(reinterpret_cast<Bytef*>(out.data()), &size, // NOLINT
                reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size())); // NOLINT
        });
        if (status != Z_OK && size == 0)
            return failure(MovieError::Code::Corrupt, "moov/cmov/cmvd",
                "the compressed header cannot be unpacked", data->sourceOffset);
        if (status != Z_OK)
            warnings.push_back(
                {data->sourceOffset, "moov/cmov/cmvd", "the compressed header is damaged at its end"});
        RW_TRY(auto inner, Atom::parse(bytes.slice(0, size), 0, &warnings));
        if (inner.type != "moov"_cc)
            return failure(MovieError::Code::Corrupt, "moov/cmov/cmvd",
                "the compressed header holds no movie", data->sourceOffset);
        // What stands beside the compressed header belongs to the movie as well.
        for (const auto& child : moov.children)
            if (child->type != "cmov"_cc)
                inner.children.push_back(child);
        if (!moov.tail.empty())
            inner.tail = ByteWriter {}.bytes(inner.tail.span()).bytes(moov.tail.span()).toBytes();
        return inner;
    }

} // namespace

Result<Atom> parseMovieHeader(const Bytes& bytes, std::uint64_t offset, std::vector<MovieWarning>& warnings)
{
    RW_TRY(auto moov, Atom::parse(bytes, offset, &warnings));
    if (moov.find("cmov"_cc) && !moov.find("mvhd"_cc)) {
        RW_TRY(moov, inflateHeader(moov, warnings));
    }
    const auto* header = moov.find("mvhd"_cc);
    if (!header && moov.find("rmra"_cc))
        return failure(MovieError::Code::Unsupported, "moov/rmra",
            "the file is a list of other movies, without a movie of its own; open one of those", offset);
    if (!header)
        return failure(MovieError::Code::Corrupt, "moov", "the movie header has no mvhd atom", offset);
    auto parsed = MovieHeader::parse(header->head);
    if (!parsed) {
        auto error = std::move(parsed).error();
        error.where = "moov/mvhd";
        error.offset += header->sourceOffset;
        return tl::unexpected<MovieError>(std::move(error));
    }
    return moov;
}

} // namespace reelwright
