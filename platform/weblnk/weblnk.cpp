// weblnk as the extension loads it: makes clients and contexts, reads dates.
#include <memory>

#include "platform/base/journal.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/http/engine.hpp"
#include "platform/text/date.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/expecting.hpp"

namespace vxhost {
namespace {

struct CurlContext : vx::HttpContext {
    explicit CurlContext(const Settings& settings) : engine(std::make_shared<Engine>(settings)) {
        fillSlots<vx::HttpContext>(*this);
        Destroy = [](vx::HttpContext* self) noexcept -> Status {
            delete static_cast<CurlContext*>(self);
            return vx::VX_SUCCESS;
        };
    }
    const std::shared_ptr<Engine> engine;
};

struct CurlWeblnk : vx::Weblnk {
    explicit CurlWeblnk(const Settings& settings);
    const Settings& settings;
};

std::u32string_view view(const char32_t* text, uint64_t length) {
    return text ? std::u32string_view(text, length) : std::u32string_view();
}

std::shared_ptr<Target> makeTarget(const Settings& settings, const vx::ClientParms& parms) {
    const std::string spelt = toUtf8(view(parms.url, parms.urlLength));
    auto credentials = std::make_shared<Credentials>();
    credentials->user = SecretText(view(parms.user, parms.userLength));
    credentials->password = SecretText(view(parms.password, parms.passwordLength));
    credentials->proxy = SecretText(view(parms.proxy, parms.proxyLength));
    auto* context = static_cast<CurlContext*>(parms.httpContext);
    auto engine = context ? context->engine : std::make_shared<Engine>(settings);
    vx::Logger* logger = findLogger(view(parms.channel, parms.channelLength));
    return std::make_shared<Target>(
        Target{{settings, std::move(credentials), parms.journal, logger},
               std::move(engine),
               spelt,
               requestUrl(spelt)});
}

vx::Client* createClient(const Settings& settings, const vx::ClientParms& parms,
                         vx::Journal* journal) noexcept {
    vx::Client* client = nullptr;
    guarded(WEBLNK_NO_CONNECTION, [&]() -> Status {
        try {
            auto target = makeTarget(settings, parms);
            announceExpected(*target);
            client = std::make_unique<CurlClient>(std::move(target), parms.clientOption).release();
            return vx::VX_SUCCESS;
        } catch (const Failure& failure) {
            journalSentence(journal, vx::JOURNAL_FAILURE, failure.what());
            throw;
        }
    });
    return client;
}

CurlWeblnk::CurlWeblnk(const Settings& given) : settings(given) {
    fillSlots<vx::Weblnk>(*this);
    base.Unload = [](vx::LoadedExtension* self) noexcept {
        delete static_cast<CurlWeblnk*>(reinterpret_cast<vx::Weblnk*>(self));
    };
    CreateClient2 = [](vx::Weblnk* self, vx::ClientParms* parms, vx::Journal* journal,
                       vx::Word) noexcept {
        return createClient(static_cast<CurlWeblnk*>(self)->settings, *parms, journal);
    };
    CreateHttpContext = [](vx::Weblnk* self, vx::Journal*, vx::Word) noexcept {
        vx::HttpContext* context = nullptr;
        guarded(vx::VX_NO_MEMORY, [&]() -> Status {
            const auto& own = *static_cast<CurlWeblnk*>(self);
            context = std::make_unique<CurlContext>(own.settings).release();
            return vx::VX_SUCCESS;
        });
        return context;
    };
    ParseDate = [](vx::Weblnk*, const char32_t* text, uint64_t bytes, double* result) noexcept {
        return guarded(WEBLNK_BAD_DATE, [&]() -> Status {
            const auto date = parseDate(view(text, bytes / sizeof(char32_t)));
            if (!date) return WEBLNK_BAD_DATE;
            *result = *date;
            return vx::VX_SUCCESS;
        });
    };
}

}  // namespace

vx::LoadedExtension* createWeblnk(const Settings& settings) {
    return &(new CurlWeblnk(settings))->base;
}

}  // namespace vxhost
