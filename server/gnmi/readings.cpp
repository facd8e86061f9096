// How readings are shared.
#include "server/gnmi/readings.h"

#include "server/gnmi/get.h"
#include "server/gnmi/read_filter.h"
#include "server/gnmi/value.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

namespace ocamp::gnmi {

namespace {

bool is_wanted(const lysc_node &leaf, LeafKind kind) {
    return kind == LeafKind::all || is_measured(leaf) == (kind == LeafKind::measured);
}

LeafPointer leaf_of(const lyd_node &node) {
    std::vector<Step> steps = steps_to(node);
    steps.pop_back();
    return std::make_shared<Leaf>(Leaf{data_path(node), std::move(steps), node.schema, canonical_text(node)});
}

// Collects leaves at and below nodes of one tree. Those that another selection has are the same objects: many that
// overlap take no more memory than one.
class LeafCollector {
  public:
    LeafCollector(LeafKind kind, std::unordered_map<const lyd_node *, LeafPointer> &known)
        : kind_(kind), known_(known) {}

    void add(const lyd_node &node, std::size_t levels) {
        if (is_leaf(*node.schema)) {
            if (is_wanted(*node.schema, kind_))
                add_leaf(node);
            return;
        }
        for (const lyd_node *child = lyd_child(&node); child != nullptr; child = child->next) {
            if (levels != 1 || is_leaf(*child->schema))
                add(*child, levels == 0 ? 0 : levels - 1);
        }
    }
    Leaves leaves() { return std::move(leaves_); }

  private:
    void add_leaf(const lyd_node &node) {
        LeafPointer &leaf = known_[&node];
        if (!leaf)
            leaf = leaf_of(node);
        leaves_.push_back(leaf);
    }

    LeafKind kind_;
    std::unordered_map<const lyd_node *, LeafPointer> &known_;
    Leaves leaves_;
};

// Both are sorted by path.
Difference difference_of(const Leaves &before, const Leaves &now) {
    Difference difference;
    auto old = before.begin();
    for (const LeafPointer &leaf : now) {
        for (; old != before.end() && (*old)->path < leaf->path; ++old)
            difference.gone.push_back(*old);
        const bool known = old != before.end() && (*old)->path == leaf->path;
        if (!known || (*old)->value != leaf->value)
            difference.changed.push_back(leaf);
        if (known)
            ++old;
    }
    difference.gone.insert(difference.gone.end(), old, before.end());
    return difference;
}

} // namespace

bool is_measured(const lysc_node &leaf) {
    if (is_configuration(leaf) || is_applied_configuration(leaf))
        return false;
    const lysc_type &type = real_type_of(leaf);
    return type.basetype == LY_TYPE_DEC64 || type.basetype == LY_TYPE_UINT64 || type.basetype == LY_TYPE_INT64 ||
           is_short_integer(type);
}

std::shared_ptr<const Difference> Reading::difference(const std::shared_ptr<const Leaves> &before,
                                                      const std::shared_ptr<const Leaves> &now) const {
    const std::lock_guard guard(mutex_);
    std::shared_ptr<const Difference> &difference = differences_[{before, now}];
    if (!difference)
        difference = std::make_shared<const Difference>(difference_of(*before, *now));
    return difference;
}

std::shared_ptr<const Leaves> Reading::select(const Path &path, std::size_t levels, LeafKind kind) const {
    const std::lock_guard guard(mutex_);
    std::shared_ptr<const Leaves> &selection =
        selections_[fmt::format("{} {} {}", levels, static_cast<int>(kind), text_of(path))];
    if (selection)
        return selection;
    LeafCollector collector(kind, leaves_);
    // The root is one level above its nodes.
    const bool root = path.steps.empty();
    if (!root || levels != 1) {
        for (const lyd_node *node : data_nodes(tree_, path))
            collector.add(*node, root && levels != 0 ? levels - 1 : levels);
    }
    Leaves leaves = collector.leaves();
    std::ranges::sort(leaves, {}, [](const LeafPointer &leaf) -> const std::string & { return leaf->path; });
    selection = std::make_shared<Leaves>(std::move(leaves));
    return selection;
}

Readings::Readings(server::Core &core) : core_(core), thread_([this] { run(); }) {}

Readings::~Readings() {
    {
        const std::lock_guard guard(inbox_->mutex);
        inbox_->ending = true;
    }
    inbox_->changed.notify_one();
    thread_.join();
    changes_.reset();
    if (session_)
        core_.close_session(*session_, server::SessionEnd::shutdown);
}

void Readings::Inbox::post(Job job) {
    {
        const std::lock_guard guard(mutex);
        if (ending)
            return;
        jobs.push_back(std::move(job));
    }
    changed.notify_one();
}

void Readings::at(Clock::time_point time, Owner owner, Job job) {
    {
        const std::lock_guard guard(inbox_->mutex);
        inbox_->later.emplace(time, OwnedJob{owner, std::move(job)});
    }
    inbox_->changed.notify_one();
}

void Readings::forget(Owner owner) {
    std::vector<Job> dropped; // what they hold may end here, and not under the lock
    {
        const std::lock_guard guard(inbox_->mutex);
        for (auto at = inbox_->later.begin(); at != inbox_->later.end();) {
            if (at->second.owner != owner) {
                ++at;
                continue;
            }
            dropped.push_back(std::move(at->second.job));
            at = inbox_->later.erase(at);
        }
    }
    inbox_->post([this, owner] {
        std::erase_if(watchers_, [owner](const OwnedJob &watcher) { return watcher.owner == owner; });
        if (watchers_.empty())
            changes_.reset();
    });
}

void Readings::run() {
    std::unique_lock lock(inbox_->mutex);
    while (!inbox_->ending) {
        if (!inbox_->later.empty() && inbox_->later.begin()->first <= Clock::now()) {
            inbox_->jobs.push_back(std::move(inbox_->later.begin()->second.job));
            inbox_->later.erase(inbox_->later.begin());
        } else if (!inbox_->jobs.empty()) {
            Job job = std::move(inbox_->jobs.front());
            inbox_->jobs.pop_front();
            lock.unlock();
            job();
            job = nullptr; // what it holds may end here, and not under the lock
            lock.lock();
        } else if (!inbox_->later.empty()) {
            // A copy: while it waits, the entry may be dropped by forget().
            const Clock::time_point next = inbox_->later.begin()->first;
            inbox_->changed.wait_until(lock, next);
        } else {
            inbox_->changed.wait(lock);
        }
    }
    std::deque<Job> dropped = std::exchange(inbox_->jobs, {});
    auto dropped_later = std::exchange(inbox_->later, {});
    lock.unlock();
}

void Readings::read(std::vector<Path> paths, Receiver receiver) {
    inbox_->post([this, paths = std::move(paths), receiver = std::move(receiver)]() mutable {
        wanted_.push_back({std::move(paths), std::move(receiver)});
        if (under_way_.empty())
            begin_soon();
    });
}

void Readings::watch(Owner owner, Job changed) {
    inbox_->post([this, owner, changed = std::move(changed)]() mutable {
        watchers_.push_back({owner, std::move(changed)});
        if (changes_)
            return;
        changes_ = core_.subscribe(server::Interest::writes,
                                   [inbox = inbox_, this](const std::shared_ptr<const server::Event> &event) {
                                       if (std::holds_alternative<server::DataWritten>(event->what))
                                           inbox->post([this] { tell_watchers(); });
                                   });
    });
}

void Readings::tell_watchers() {
    for (const OwnedJob &watcher : watchers_)
        watcher.job();
}

std::vector<Path> Readings::paths_under_way() const {
    std::vector<Path> paths;
    for (const Request &request : under_way_)
        paths.insert(paths.end(), request.paths.begin(), request.paths.end());
    return paths;
}

// Behind all that others have asked for by now: one reading is theirs, too.
void Readings::begin_soon() {
    if (std::exchange(begins_soon_, true))
        return;
    inbox_->post([this] {
        begins_soon_ = false;
        begin_reading();
    });
}

void Readings::begin_reading() {
    under_way_ = std::exchange(wanted_, {});
    submit(read_of(paths_under_way()));
}

void Readings::submit(server::Read read) {
    // The answer, or none when the core drops the read with the session, as it does when it ends. It is handed over at
    // once: what the core tells of later changes must come behind it.
    struct Answer {
        Answer(std::shared_ptr<Inbox> to_inbox, Readings *to_readings, bool is_part)
            : inbox(std::move(to_inbox)), readings(to_readings), partial(is_part) {}
        Answer(const Answer &) = delete;
        Answer &operator=(const Answer &) = delete;

        void tell(std::optional<server::Outcome> outcome) {
            told = true;
            inbox->post([to = readings, kept = std::make_shared<std::optional<server::Outcome>>(std::move(outcome)),
                         part = partial] { to->end_reading(*kept, part); });
        }
        ~Answer() {
            if (!told)
                tell({});
        }

        std::shared_ptr<Inbox> inbox;
        Readings *readings;
        bool partial;
        bool told = false;
    };
    const auto answer = std::make_shared<Answer>(inbox_, this, is_partial(read));
    try {
        // All roles may read, and who asks has logged in: one session reads for all of them.
        if (!session_)
            session_ = core_.open_own_session("gnmi", [inbox = inbox_, this](server::SessionEnd, server::SessionId) {
                inbox->post([this] { session_.reset(); });
            });
    } catch (const server::SessionRefused &) {
        return; // the server ends
    }
    core_.submit(*session_, std::move(read), [answer](server::Outcome outcome) { answer->tell(std::move(outcome)); });
}

void Readings::end_reading(std::optional<server::Outcome> &outcome, bool partial) {
    // What is wrong with one of several paths is not to be the failure of all: everything can always be read.
    if (partial && outcome && std::holds_alternative<server::Refusal>(*outcome)) {
        submit(whole_read_of(paths_under_way()));
        return;
    }
    ReadingOutcome told = RpcError(Code::unavailable, "the server ends");
    if (auto *result = outcome ? std::get_if<server::Result>(&*outcome) : nullptr)
        told = std::make_shared<const Reading>(std::move(result->data), result->begun);
    else if (outcome)
        told = RpcError(std::get<server::Refusal>(*outcome));
    for (const Request &request : std::exchange(under_way_, {}))
        request.receiver(told);
    if (!wanted_.empty())
        begin_soon();
}

} // namespace ocamp::gnmi
