#include "tests/fuzz/answering_host.hpp"

#include "platform/kernel.hpp"
#include "platform/logger.hpp"
#include "platform/siblings.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"
#include "platform/weblnk/href_resolver.hpp"
#include "tests/fuzz/builders.hpp"
#include "tests/fuzz/fuzz.hpp"
#include "vxext/src/entry.hpp"

namespace fuzz {
namespace {

AnsweringHost* answering = nullptr;

struct AnsweringClient : vx::Client {
    AnsweringClient();
};

AnsweringClient::AnsweringClient() {
    vxhost::fillSlots<vx::Client>(*this);
    Destroy = [](vx::Client* self) noexcept -> vx::Status {
        delete static_cast<AnsweringClient*>(self);
        return vx::VX_SUCCESS;
    };
    InstHead = [](vx::Client*, int32_t* status) noexcept -> vx::Status {
        *status = 200;
        return vx::VX_SUCCESS;
    };
    InstOptions = [](vx::Client*, vx::Word, int32_t* status, uint32_t* allow,
                     vx::Word) noexcept -> vx::Status {
        *status = 200;
        *allow = vx::ALLOW_PROPFIND;
        return vx::VX_SUCCESS;
    };
    InstPropFind = [](vx::Client*, uint32_t, vx::Document*, int32_t* status,
                      vx::Document** response) noexcept {
        *status = 207;
        vxhost::HrefResolver resolver(AnsweringHost::URL);
        const auto rewrite = [&](std::string_view href) { return resolver.resolve(href); };
        vxhost::MultistatusBuilder builder(rewrite);
        *response = read(builder, answering->answer, answering->pieceBytes).release();
        return *response ? vx::VX_SUCCESS : vxhost::WEBLNK_BAD_ANSWER;
    };
}

// weblnk's dates, and clients that connect nowhere.
vx::LoadedExtension* loadWeblnk(const vxhost::Settings& settings) {
    vx::LoadedExtension* loaded = vxhost::createWeblnk(settings);
    reinterpret_cast<vx::Weblnk*>(loaded)->CreateClient2 =
        [](vx::Weblnk*, vx::ClientParms*, vx::Journal*, vx::Word) noexcept -> vx::Client* {
        return new AnsweringClient;
    };
    return loaded;
}

}  // namespace

AnsweringHost::AnsweringHost() {
    answering = this;
    vxhost::fillSlots<vx::Host>(*this);
    CreatePool = [](vx::Host* self, const vx::PoolParms*, void*, const char*) noexcept {
        return static_cast<vx::Pool*>(&static_cast<AnsweringHost*>(self)->pool);
    };
    LoadExtension = [](vx::Host* self, const char32_t* name, uint64_t length, void*) noexcept {
        const vxhost::Settings& settings = static_cast<AnsweringHost*>(self)->settings_;
        const std::u32string_view wanted(name, length);
        return wanted == U"weblnk" ? loadWeblnk(settings) : vxhost::loadSibling(wanted, &settings);
    };
    vxhost::KernelSettings logging;  // all records are rendered, none is kept
    logging.logThreshold = vxhost::LOG_WIRE;
    logging.log = [](auto...) {};
    vxhost::configureLogging(logging);
    vxextent(&vxhost::kernel());
    extension_ = quillon(this, nullptr);
    require(extension_ != nullptr, "the extension starts");
    extension_->journalEnabled = 1;

    vx::CollectionParms parms{};
    parms.url = URL.data();
    parms.urlLength = URL.size();
    parms.textTranscoder = &vxhost::utf8ToUtf32();
    parms.pathTranscoder = &vxhost::utf32ToUtf8();
    parms.options = vx::NO_CACHE;
    collection_ = operations().quillonCollectionHandleAcquire(extension_, &parms, nullptr);
    require(collection_ != nullptr, "the collection opens");
}

AnsweringHost::~AnsweringHost() {
    operations().quillonCollectionHandleRelease(collection_);
    extension_->Destroy(extension_);
    require(pool.out == 1, "the extension leaves its own handle alone to the pool");
    pool.Free(&pool, extension_);
}

}  // namespace fuzz
