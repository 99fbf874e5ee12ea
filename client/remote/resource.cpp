#include "client/remote/resource.hpp"

#include <algorithm>
#include <map>
#include <numeric>
#include <set>
#include <string_view>
#include <utility>

#include "client/address.hpp"
#include "client/content_size.hpp"
#include "client/remote/listing_answer.hpp"
#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/multistatus_reader.hpp"
#include "platform/text/http_status.hpp"
#include "platform/text/url.hpp"
#include "platform/text/url_path.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;
using Response = vxhost::MultistatusResponse;

constexpr size_t longestFileId = 256;  // bytes

// By RFC 5842, 3.1, which is of the most worth, and as Nextcloud and ownCloud tell it.
const std::vector<std::string> fileIdNames = {"DAV:\nresource-id",
                                              "http://owncloud.org/ns\nfileid"};

std::string documentFor(WantedProperties wanted) {
    std::string document =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:propfind xmlns:D=\"DAV:\"><D:prop>"
        "<D:resourcetype/>";
    if (wanted.details) document += "<D:getcontentlength/><D:getlastmodified/><D:getetag/>";
    if (wanted.created) document += "<D:creationdate/>";
    if (wanted.fileIds) {
        document += "<D:resource-id/><fileid xmlns=\"http://owncloud.org/ns\"/>";
    }
    return document + "</D:prop></D:propfind>";
}

// texts: of the properties of those names.
std::string_view fileIdIn(const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        const std::string_view id = vxhost::trim(text);
        if (!id.empty() && id.size() <= longestFileId) return id;
    }
    return {};
}

std::string_view pathOf(std::string_view href) {
    return vxhost::splitReference(href).path;
}

std::string_view withoutFinalSlash(std::string_view path) {
    if (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
    return path;
}

// Of an answer that arrives.
class ResourceSink : public vxhost::BodySink {
public:
    ResourceSink(uint64_t mostBytes, WantedProperties wanted)
        : mostBytes_(mostBytes), wanted_(wanted) {}

    WantedProperties wanted() const { return wanted_; }

    void begin(const Answer& answer) override {
        members_ = {};
        bytes_ = 0;
        self_.reset();
        places_.clear();
        placeOf_.clear();
        placeNumbers_.clear();
        reader_.reset();
        isMultistatus_ = false;
        askedPath_ = std::string(withoutFinalSlash(pathOf(answer.url)));
        if (!mayBeMultistatus(answer)) return;
        reader_.emplace([this](const Response& response) { add(response); },
                        [this](std::string_view root) {
                            isMultistatus_ = vxhost::davName(root) == "multistatus";
                        },
                        wanted_.fileIds ? fileIdNames : std::vector<std::string>());
    }
    void write(std::string_view piece) override {
        if (reader_) reader_->feed(piece);
    }
    bool restartable() const override { return true; }

    // Nothing when no multistatus came, or one of nothing: a page in XML is no empty collection,
    // which tells itself.
    std::optional<Members> finish() {
        if (!finishReading()) return {};
        if (members_.resources.empty() && members_.unreadable == 0) return {};
        toldMemberAlone_ =
            members_.resources.size() == 1 && self_ && self_->isAsked && !self_->isCollection;
        keepMembers();
        sortBySegment();
        std::vector<Resource>& all = members_.resources;
        const auto isTwice = [](const Resource& one, const Resource& other) {
            return one.segment == other.segment;
        };
        all.erase(std::unique(all.begin(), all.end(), isTwice), all.end());
        std::erase_if(all, [](const Resource& each) { return each.segment.empty(); });
        return std::move(members_);
    }
    // The resource that was asked for, at depth 0; some servers tell what is in it, too.
    std::optional<Resource> finishOne() {
        if (!finishReading() || !self_) return {};
        Resource& told = members_.resources[self_->index];
        const std::string asked = vxhost::pathKey(askedPath_);
        // What tells of what is in it alone is a collection.
        if (told.isCollection || !vxhost::isBelow(asked, vxhost::pathKey(self_->path)))
            return std::move(told);
        Resource collection;
        collection.segment = vxhost::encodeForRequest(lastSegment<std::string_view>(askedPath_));
        collection.isCollection = true;
        return collection;
    }

    // Once it is finished: whether all that it told is that the URL leads to a member.
    bool toldMemberAlone() const { return toldMemberAlone_; }

private:
    bool finishReading() {
        if (reader_) reader_->finish();
        return isMultistatus_;
    }

    // What came first of two that have the same one stays the first. Resources are large: each is
    // moved once.
    void sortBySegment() {
        std::vector<Resource>& all = members_.resources;
        if (std::ranges::is_sorted(all, {}, &Resource::segment)) return;
        std::vector<uint32_t> order(all.size());
        std::iota(order.begin(), order.end(), 0);
        std::ranges::sort(order, [&](uint32_t a, uint32_t b) {
            const int compared = all[a].segment.compare(all[b].segment);
            return compared < 0 || (compared == 0 && a < b);
        });
        std::vector<Resource> sorted;
        sorted.reserve(all.size());
        for (const uint32_t n : order) sorted.push_back(std::move(all[n]));
        all = std::move(sorted);
    }

    struct Self {
        size_t index;  // among the resources
        std::string path;
        bool isAsked;  // by that path
        bool isCollection;
    };
    struct Place {
        std::string path;  // as it came
        std::string key;
        size_t count = 0;  // of what is right in it
    };

    void add(const Response& response) {
        if (response.isRefused()) {
            ++members_.unreadable;
            return;
        }
        const std::string_view path = withoutFinalSlash(pathOf(response.href));
        const std::string_view segment = lastSegment(path);
        if (vxhost::isDotSegment(segment)) return;  // nobody's member
        noteSelf(path, response.isCollection);
        notePlace(path);
        Resource resource;
        // What a URL cannot carry must not get into a header either.
        resource.segment = vxhost::encodeForRequest(segment);
        resource.isCollection = response.isCollection;
        resource.size = contentSize(
            response.isCollection,
            vxhost::parseNumber<uint64_t>(vxhost::trim(response.values[Response::contentLength])));
        resource.modified = parseTime(vxhost::trim(response.values[Response::lastModified]));
        resource.created = parseTime(vxhost::trim(response.values[Response::creationDate]));
        resource.tag = vxhost::parseEntityTag(vxhost::trim(response.values[Response::entityTag]));
        resource.fileId = fileIdIn(*response.others);
        members_.tellsFileIds = members_.tellsFileIds || !resource.fileId.empty();
        bytes_ += sizeof(Resource) + resource.segment.size() + resource.tag.text.size() +
                  resource.fileId.size();
        if (bytes_ > mostBytes_) {
            throw vxhost::Failure(vx::VX_NO_MEMORY,
                                  "The collection has more members than memory may hold.");
        }
        members_.resources.push_back(std::move(resource));
    }

    // The collection is among its members: under the path that was asked for, or, behind a proxy
    // that rewrites paths, under the one that all others are in. Some servers leave it out.
    void noteSelf(std::string_view path, bool isCollection) {
        const size_t index = members_.resources.size();
        if (self_ && self_->isAsked) return;
        const bool isAsked = vxhost::samePath(path, askedPath_);
        if (isAsked || !self_ || path.size() < self_->path.size())
            self_ = {index, std::string(path), isAsked, isCollection};
    }

    // Where it lies: in a listing one that was met just before, most often.
    void notePlace(std::string_view path) {
        const size_t slash = path.rfind('/');
        const std::string_view above = path.substr(0, slash == path.npos ? 0 : slash);
        if (placeOf_.empty() || places_[placeOf_.back()].path != above) {
            std::string key = vxhost::pathKey(above);
            const auto [known, isNew] =
                placeNumbers_.try_emplace(key, static_cast<uint32_t>(places_.size()));
            if (isNew) {
                bytes_ += 2 * (sizeof(Place) + above.size() + key.size());
                places_.push_back({std::string(above), std::move(key)});
            }
            placeOf_.push_back(known->second);
        } else {
            placeOf_.push_back(placeOf_.back());
        }
        ++places_[placeOf_.back()].count;
    }

    bool isSelf(const Self& self) const {
        const size_t others = members_.resources.size() - 1;
        if (self.isAsked) return true;
        if (others == 0) return self.isCollection && self.path.starts_with('/');
        const std::string key = vxhost::pathKey(self.path);
        size_t inside = 0;
        for (const Place& place : places_) {
            if (place.key == key || vxhost::isBelow(key, place.key)) inside += place.count;
        }
        return inside == others;
    }

    // The collection that all members are in; where it is not told itself, the one above what lies
    // highest.
    std::string keyOfCollection(bool tellsSelf) const {
        if (tellsSelf) return vxhost::pathKey(self_->path);
        std::string asked = vxhost::pathKey(askedPath_);
        if (placeNumbers_.contains(asked)) return asked;
        return std::ranges::min_element(places_, {},
                                        [](const Place& each) { return each.key.size(); })
            ->key;
    }

    // Without the collection itself, and without what is deeper in it, as servers tell that do not
    // heed Depth: each has its last segment alone here.
    void keepMembers() {
        std::vector<Resource>& all = members_.resources;
        if (all.empty()) return;
        const bool tellsSelf = self_ && isSelf(*self_);
        const std::string collection = keyOfCollection(tellsSelf);
        std::vector<bool> isDeep;
        for (const Place& each : places_) isDeep.push_back(vxhost::isBelow(collection, each.key));
        size_t kept = 0;
        for (size_t n = 0; n < all.size(); ++n) {
            if ((tellsSelf && n == self_->index) || isDeep[placeOf_[n]]) continue;
            if (kept != n) all[kept] = std::move(all[n]);
            ++kept;
        }
        all.resize(kept);
        countHidden(collection, isDeep);
    }

    // What is in something that was not told itself: a member of that name is there, about which
    // nothing is known.
    void countHidden(const std::string& collection, const std::vector<bool>& isDeep) {
        std::set<std::string> names;
        for (size_t n = 0; n < places_.size(); ++n) {
            std::string_view below = places_[n].key;
            if (!isDeep[n]) continue;
            below.remove_prefix(collection.empty() ? 0 : collection.size() + 1);
            names.emplace(below.substr(0, below.find('/')));
        }
        for (const Resource& each : members_.resources) {
            if (names.empty()) return;
            names.erase(vxhost::pathKey(each.segment));
        }
        members_.unreadable += names.size();
    }

    const uint64_t mostBytes_;
    const WantedProperties wanted_;
    std::string askedPath_;
    std::optional<vxhost::MultistatusReader> reader_;
    bool isMultistatus_ = false;
    Members members_;
    uint64_t bytes_ = 0;
    std::optional<Self> self_;
    bool toldMemberAlone_ = false;
    std::vector<Place> places_;  // two, unless the server tells more than it was asked for
    std::map<std::string, uint32_t> placeNumbers_;  // by their keys
    std::vector<uint32_t> placeOf_;                 // of each resource
};

// The parser's complaints are thrown inside the request, and come as its failure.
Task<Result<Answer>> ask(Remote& remote, std::string url, uint32_t depth, ResourceSink& sink) {
    vxhost::Request request =
        vxhost::propertiesRequest(std::move(url), depth, documentFor(sink.wanted()));
    request.sink = &sink;
    co_return co_await remote.send(std::move(request));
}

}  // namespace

Task<Result<Members>> list(Remote& remote, std::string url, WantedProperties wanted) {
    ResourceSink sink(remote.settings().mostListingBytes, wanted);
    Result<Answer> answer = co_await ask(remote, url, 1, sink);
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) {
        Error error = refusal(*answer);
        if (answer->status == 404) error.code = Code::collectionNotFound;
        co_return std::move(error);
    }
    try {
        std::optional<Members> members = sink.finish();
        if (!members) co_return notMultistatus(*answer);
        if (sink.toldMemberAlone()) {
            co_return localError(Kind::refused, "This is a file, not a collection.");
        }
        members->asked = parseTime(answer->headers.first("Date"));
        members->server = answer->headers.first("Server");
        co_return std::move(*members);
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

Task<Result<std::optional<Resource>>> look(Remote& remote, std::string url,
                                           WantedProperties wanted) {
    ResourceSink sink(remote.settings().mostListingBytes, wanted);
    Result<Answer> answer = co_await ask(remote, url, 0, sink);
    if (!answer) co_return answer.error();
    if (answer->status == 404) co_return std::optional<Resource>();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    try {
        std::optional<Resource> found = sink.finishOne();
        if (!found) co_return notMultistatus(*answer);
        co_return std::move(found);
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

}  // namespace quillon
