// Where something is: a collection's URL and, unless the collection itself is meant, the last
// segment of a member's.
//
// A URL as a person types it becomes one that can be sent: a percent sign that starts an escape
// stays, everything else that a URL cannot carry is encoded. "?" and "#" are characters of a name,
// for members have neither queries nor fragments. "." and ".." segments are resolved.
#pragma once

#include <string>
#include <string_view>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon {

// What is or may be credentials in a word that a person typed, with the "@" behind them; empty:
// nothing. Of a URL that is well formed it is what stands before the host. A word that is none may
// be meant as one, with or without its scheme, or be an option with one; then it is rather too much
// than too little. A view into the word, so that it can be wiped there.
std::string_view credentialsIn(std::string_view typed);

// The word as it may be shown: "***" in their place.
std::string withoutCredentials(std::string_view typed);

// What is wrong with a user name, to go on behind "A user name"; empty: nothing. RFC 7617, 2: a
// colon divides it from the password, which belongs nowhere near it; and it is one line.
std::string_view userNameProblem(std::string_view user);

// The one path segment of a URL that stands for the name of a member, all of whose characters are
// taken as they are. Fails with Kind::usage for what no member can be called.
Result<std::string> segmentFor(std::string_view name);

// The last segment of an href, whether it ends in "/" or not. Text is a string view.
template <class Text>
Text lastSegment(Text href) {
    if (!href.empty() && href.back() == '/') href.remove_suffix(1);
    return href.substr(href.rfind('/') + 1);
}

class Address {
public:
    // Credentials before the host ("user:password@") are taken out of the URL; a caller that still
    // holds the typed text wipes it. Fails with Kind::usage.
    static Result<Address> parse(std::string_view typed);

    const std::string& collection() const { return collection_; }  // ends in "/"
    const std::string& segment() const { return segment_; }        // encoded; empty: the collection
    std::string url() const { return collection_ + segment_; }
    std::string origin() const;  // scheme, host and port in lower case, no default port
    std::string host() const;    // in lower case, without port and brackets
    std::string name() const;    // the last segment decoded, a collection's own too
    bool namesMember() const { return !segment_.empty(); }

    // The same with a final slash.
    Address asCollection() const;
    // The same without: a collection as a member of its parent. A root has no parent: unchanged.
    Address asMember() const;
    // The collection above; a root's is itself.
    Address parent() const { return asMember().memberBySegment({}); }
    // A member of this collection by its name as a person says it: every character is the name's.
    // Fails with Kind::usage for what cannot be a name.
    Result<Address> member(std::string_view name) const;
    // A member by a segment that is encoded already.
    Address memberBySegment(std::string_view segment) const;

    // The same for another user, without the password of this one.
    Address withUser(std::string_view user) const;

    const std::string& user() const { return user_; }  // from the URL; empty: none
    const Secret& password() const { return password_; }
    bool hasCredentials() const { return !user_.empty(); }

private:
    std::string collection_;
    std::string segment_;
    std::string user_;
    Secret password_;
};

}  // namespace quillon
