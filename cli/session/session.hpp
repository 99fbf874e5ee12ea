// One run of the program: the extension, credentials, and open collections shared by what a command
// does to several URLs.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "cli/parser/options.hpp"
#include "cli/session/cost.hpp"
#include "cli/session/credentials.hpp"
#include "cli/session/left_work.hpp"
#include "cli/session/own_locks.hpp"
#include "cli/session/sites.hpp"
#include "cli/session/way_in.hpp"
#include "cli/terminal/progress.hpp"
#include "client/collection.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {

class Servers;

// Worker threads (jobs.hpp) share a session: findLogin, extension, open and openMember may be
// called by any of them. The locked members, the sites and base belong to the thread that runs the
// command, which changes them only while no worker runs.
class Session {
public:
    // cost: where the requests are counted; null: nowhere.
    explicit Session(const CommonOptions& options, Cost* cost = nullptr);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Started with the options for the address, or with others; those with the same share one.
    Result<Extension> extension(const Address& address);
    Result<Extension> extension(const CommonOptions& options);

    // Runs an action that takes a Login and gives a Result, with what is known for the address; a
    // refusal is answered by asking the person for a password, once.
    template <class Action>
    auto withLogin(const Address& address, Action&& action)
        -> decltype(action(std::declval<const Login&>())) {
        const Result<Login> login = findLogin(address);
        if (!login) return login.error();
        giveBackLeft(address, *login);
        auto result = action(*login);
        if (result || result.error().kind != Kind::notAuthorized) return result;
        const Result<Login> other = mayPasswordHelp(result.error().code)
                                        ? askAgain(address)
                                        : Result<Login>(Error(result.error()));
        if (other) giveBackLeft(address, *other);
        if (other) return action(*other);
        if (other.error().kind != Kind::notAuthorized) return other.error();
        return refusal(address, *login, std::move(result).error());
    }

    // Runs an action on bare requests to the address's server, which gives a Result. It must be
    // safe to be run again where the first thing that it asked for was refused for want of a
    // password. Defined in remote_access.hpp.
    template <class Action>
    auto withRemote(const Address& address, Action&& action)
        -> decltype(action(std::declval<Remote&>()));

    // The address's collection; those that this thread opened last stay open for its later calls
    // that ask for the same.
    Result<std::shared_ptr<Collection>> open(const Address& address,
                                             const OpenOptions& options = {});

    // Each command of a shell looks anew at what others left, and at what the server refused.
    void beginCommand();

    // After a site was changed: what comes next in a shell logs in anew.
    void forgetLogins();

    // The servers that were asked by bare requests; for the thread that runs the command.
    Servers& servers() { return *servers_; }

    // What a collection holds, by their segments. For the same thread.
    Result<Members> list(const Address& collection, WantedProperties wanted = {});

    // The collections that this thread has open: all at its end; those whose cache lies among the
    // person's files when a command is done.
    void closeCollectionsOfThisThread();
    void closeCollectionsBesideFiles();

    // A new handle of the address's member; of the collection itself when it names none.
    Result<Member> openMember(const Address& address, const OpenOptions& options = {});

    // The address's member, for its change; one that is remembered with its lock serves again.
    Result<std::shared_ptr<Member>> member(const Address& address,
                                           Purpose purpose = Purpose::change);

    // Locks that outlive the command that took them, until they are given back.
    void rememberLocked(const Address& address, std::shared_ptr<Member> member);
    std::shared_ptr<Member> lockedMember(const Address& address) const;  // null: not remembered
    void forgetLocked(const Address& address);
    std::vector<Address> lockedAddresses() const;
    void renewLocks();  // as Member::renewLock(), of those that are remembered
    bool hasLockedMembers() const { return !locked_.empty(); }

    // Tells what to do about it.
    Error refusal(const Address& address, const Login& login, Error error) const;

    // How many threads work at the same time: they share what one would have.
    void setSenders(size_t count) { senders_ = static_cast<unsigned>(count); }
    bool foundBasic(const std::string& origin) const;  // the server there asked for it

    // Where the names of a shell's arguments are; nothing when arguments are URLs.
    std::optional<Address> base;

    const CommonOptions& options() const { return options_; }
    Sites& sites() { return sites_; }
    LeftWork& leftWork() { return leftWork_; }
    OwnLocks& ownLocks() { return ownLocks_; }
    Progress& progress() { return progress_; }

private:
    // Of each kind once a run, and of another machine.
    void warnOfClearSecret(std::string_view origin, std::string_view what);
    // The locks on the server that processes left which were killed.
    void giveBackLeft(const Address& address, const Login& login);
    Result<Login> findLogin(const Address& address);
    Result<Login> askAgain(const Address& address);

    const CommonOptions& options_;
    Sites sites_;
    Credentials credentials_;
    Progress progress_;
    Cost* const cost_;
    LeftWork leftWork_;
    OwnLocks ownLocks_;
    std::atomic<unsigned> senders_ = 1;
    struct Started {
        std::string key;  // of the options that make them differ, and the rest of those
        AccessOptions access;
        Extension extension;
    };
    std::vector<Started> extensions_;
    Certificates certificates_;

    struct OpenCollection {
        std::shared_ptr<Collection> collection;
        std::string user;  // that its URL named
        OpenOptions options;
    };
    struct Locked {
        Address address;
        std::shared_ptr<Member> member;
    };
    std::deque<OpenCollection>& collectionsOfThisThread();

    mutable std::mutex schemesMutex_;
    std::set<std::string, std::less<>> basicOrigins_, warnedOf_;  // what goes in clear

    // Guards the credentials, the extensions, closed_ and the map open_, not the lists in it: each
    // belongs to its thread, and a map's elements stay where they are when others come or go.
    mutable std::mutex mutex_;
    std::map<std::thread::id, std::deque<OpenCollection>> open_;  // the latest is the last
    std::map<std::string, Locked> locked_;                        // by URL
    // Collections that the command was not let into: a password that is wrong once more for each
    // member in them may lock an account. Nothing else is taken to be closed with them, since some
    // servers let a person in elsewhere with what they refuse here. By identityOf and URL.
    std::map<std::string, Error> closed_;
    const std::unique_ptr<Servers> servers_;
};

}  // namespace quillon::cli
