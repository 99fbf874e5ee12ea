// The XML layer as an extension.
#include <cstring>
#include <string>

#include "host/markup.h"
#include "platform/base/journal.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/markup/tree_builder.hpp"

namespace vxhost {
namespace {

void require(Status status, const char* what) {
    if (status != vx::VX_SUCCESS) throw Failure(status, what);
}

class OpenStream {
public:
    explicit OpenStream(vx::BlobStream* stream) : stream_(stream) {
        if (!stream_) throw Failure(vx::VX_INVALID_ARGUMENT, "no source was given");
        require(stream_->open(stream_), "its source could not be opened");
    }
    OpenStream(const OpenStream&) = delete;
    OpenStream& operator=(const OpenStream&) = delete;
    ~OpenStream() { stream_->close(stream_); }

    bool read(std::string_view& piece) {
        const void* data = nullptr;
        uint64_t length = 0;
        const Status status = stream_->read(stream_, &data, &length);
        if (status == vx::VX_END_OF_DATA) return false;
        require(status, "its source could not be read");
        piece = {static_cast<const char*>(data), length};
        return true;
    }

private:
    vx::BlobStream* stream_;
};

// UTF-32 in pieces that need not end between characters.
class Utf32Pieces {
public:
    std::string toUtf8(std::string_view piece) {
        bytes_ += piece;
        std::u32string characters(bytes_.size() / sizeof(char32_t), U'\0');
        const size_t whole = characters.size() * sizeof(char32_t);
        std::memcpy(characters.data(), bytes_.data(), whole);
        bytes_.erase(0, whole);
        return vxhost::toUtf8(characters);
    }

    void finish() const {
        if (!bytes_.empty()) throw Failure(TRANSCODE_INVALID, "the last character is not whole");
    }

private:
    std::string bytes_;
};

DocumentPtr readUtf32(OpenStream& stream) {
    TreeBuilder builder("UTF-8");  // whatever the declaration says
    Utf32Pieces pieces;
    for (std::string_view piece; stream.read(piece);) builder.feed(pieces.toUtf8(piece));
    pieces.finish();
    return builder.finish();
}

DocumentPtr readDeclared(OpenStream& stream) {
    TreeBuilder builder;
    for (std::string_view piece; stream.read(piece);) builder.feed(piece);
    return builder.finish();
}

DocumentPtr readDocument(const vx::DocumentParms& parms) {
    if (parms.treeEncoding != vx::ENCODING_UTF32) {
        throw Failure(vx::VX_UNSUPPORTED, "its tree can hold UTF-32 only");
    }
    OpenStream stream(parms.stream);
    return parms.sourceEncoding == vx::ENCODING_UTF32 ? readUtf32(stream) : readDeclared(stream);
}

struct MarkupExtension : vx::Markup {
    MarkupExtension() {
        fillSlots<vx::Markup>(*this);
        base.Unload = [](vx::LoadedExtension* self) {
            delete static_cast<MarkupExtension*>(reinterpret_cast<vx::Markup*>(self));
        };
        CreateDocument = [](vx::Markup*, vx::DocumentParms* parms, vx::Journal* journal,
                            vx::Word) noexcept -> vx::Document* {
            try {
                return readDocument(*parms).release();
            } catch (const std::exception& failure) {
                tell(journal ? journal : parms->journal, failure.what());
                return nullptr;
            }
        };
    }

    static void tell(vx::Journal* journal, const char* why) noexcept try {
        journalSentence(journal, vx::JOURNAL_FAILURE,
                        std::string("The XML document could not be read: ") + why + ".");
    } catch (const std::bad_alloc&) {
        // the null document says enough
    }
};

}  // namespace

vx::LoadedExtension* createMarkup() {
    return &(new MarkupExtension)->base;
}

}  // namespace vxhost
