#include "cli/session/jobs.hpp"

#include <algorithm>
#include <atomic>
#include <exception>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include "cli/terminal/exit_code.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

class Workers {
public:
    Workers(size_t count, Session& session, const NumberedTask& task)
        : count_(count), ends_(count, session), session_(session), task_(task) {}

    int run(size_t jobs) {
        {
            // This thread is one of the workers. The block's end waits for the others, so that
            // nobody records an end any more when the code is read.
            std::vector<std::jthread> others;
            others.reserve(jobs);
            try {
                while (others.size() + 1 < jobs) others.emplace_back([this] { runThread(); });
            } catch (const std::system_error&) {
                // The system allows no more threads: those that there are do all of the tasks.
            }
            takeTasks();
        }
        return ends_.code();
    }

private:
    struct End {
        int code = exitDone;
        std::string reports;
    };

    // A thread's collections belong to it: nobody could use or close them after its end.
    void runThread() {
        takeTasks();
        session_.closeCollectionsOfThisThread();
    }

    void takeTasks() {
        for (size_t i; !stopped_ && (i = next_++) < count_;) recordEnd(i, performTask(i));
    }

    // An exception would end the process from a thread, and leave locks behind.
    End performTask(size_t i) const {
        End end;
        const ReportsInto redirected(end.reports);
        try {
            end.code = task_(i);
        } catch (const std::exception& problem) {
            complain(problem.what());
            end.code = exitLocal;
        }
        return end;
    }

    void recordEnd(size_t i, End how) {
        // Tasks that have begun go on to their own end, in which they give back their locks.
        if (how.code == exitInterrupted) stopped_ = true;
        session_.progress().countDone();
        ends_.record(i, how.code, std::move(how.reports));
    }

    std::atomic<size_t> next_{0};
    std::atomic<bool> stopped_{false};

    const size_t count_;
    OrderedEnds ends_;
    Session& session_;
    const NumberedTask& task_;
};

}  // namespace

void OrderedEnds::record(size_t n, int code, std::string reports) {
    const std::lock_guard lock(mutex_);
    ends_[n] = {code, std::move(reports)};
    // A task's reports wait for those of the tasks before it.
    for (; printed_ < ends_.size() && ends_[printed_]; ++printed_) print(*ends_[printed_]);
}

void OrderedEnds::print(const End& end) {
    if (code_ == exitDone || end.code == exitInterrupted) code_ = end.code;
    if (end.reports.empty()) return;
    session_.progress().hide();
    printReports(end.reports);
}

size_t jobsFor(Session& session, const Address& first, Jobs jobs, std::vector<std::string> places) {
    std::sort(places.begin(), places.end());
    const bool twice = std::adjacent_find(places.begin(), places.end()) != places.end();
    if (twice || session.hasLockedMembers()) return 1;
    const Site* site = session.sites().of(first);
    if (jobs.asked == 0 && site != nullptr) jobs.asked = static_cast<size_t>(site->jobs);
    if (jobs.asked > 0) return std::min(jobs.asked, places.size());
    return std::min(jobs.usual, (places.size() + jobs.worth - 1) / jobs.worth);
}

void meetServers(Session& session, const std::vector<Address>& addresses,
                 const OpenOptions& options) {
    std::set<std::pair<std::string, std::string>> met;
    for (const Address& address : addresses) {
        if (met.emplace(address.origin(), address.user()).second) {
            (void)session.open(address, options);
        }
    }
}

int runTasks(size_t count, size_t jobs, Session& session, const NumberedTask& task) {
    if (count > 1) {
        session.progress().startAll({});
        for (size_t i = 0; i < count; ++i) session.progress().expect(0);
        session.progress().expectNoMore();
    }
    session.setSenders(jobs);
    const int code = Workers(count, session, task).run(jobs);
    session.setSenders(1);
    session.progress().finishAll();
    session.closeCollectionsBesideFiles();
    return code;
}

}  // namespace quillon::cli
