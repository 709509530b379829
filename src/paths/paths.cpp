// What the room offers: evaluations, and the cache of compiled paths.

#include "paths/paths.hpp"

#include "host/session.hpp"
#include "path_reports.hpp"
#include "paths/path_evaluator.hpp"
#include "registry.hpp"

#include <cstring>
#include <functional>
#include <new>

namespace pkg_dbe_xml {

using paths::evaluator;
using paths::value_type;

// --- evaluations
// ----------------------------------------------------------------------------------

path_evaluation::path_evaluation(const paths::path_code &code, xmlNodePtr context,
                                 std::span<const path_binding> variables) {
    for (const xmlNode *node = context; node != nullptr; node = node->parent) {
        if (is_declaration(node->type)) {
            report(reports::path_context);
        }
    }
    constexpr std::size_t k_own = (sizeof(evaluator) + 15) / 16 * 16;
    static_assert(sizeof(room_) > k_own + 1024);
    evaluator_ =
        new (room_) evaluator(code, context, variables, room_ + k_own, sizeof(room_) - k_own);
}

path_evaluation::~path_evaluation() { evaluator_->~evaluator(); }

namespace {

paths::context_node start_of(const evaluator &run) noexcept { return {run.context(), 1, 1}; }

void require_nodes(const evaluator &run) {
    const value_type type = run.code().expressions[run.code().root].type;
    if (type != value_type::nodes) {
        constexpr const char *k_names[] = {"nodes", "a number", "a text", "a truth value"};
        report(reports::path_not_nodes, {k_names[static_cast<std::size_t>(type)]});
    }
}

} // namespace

std::span<const xmlNodePtr> path_evaluation::nodes() {
    require_nodes(*evaluator_);
    const paths::node_array set = evaluator_->nodes(evaluator_->code().root, start_of(*evaluator_));
    for (std::size_t index = 0; index < set.size; ++index) {
        if (paths::is_namespace(set.members[index])) {
            report(reports::path_namespace_node);
        }
    }
    return {set.members, set.size};
}

xmlNodePtr path_evaluation::first() {
    require_nodes(*evaluator_);
    xmlNodePtr const node = evaluator_->first_node(evaluator_->code().root, start_of(*evaluator_));
    if (node != nullptr && paths::is_namespace(node)) {
        report(reports::path_namespace_node);
    }
    return node;
}

std::size_t path_evaluation::count() {
    require_nodes(*evaluator_);
    return evaluator_->count(evaluator_->code().root, start_of(*evaluator_));
}

std::string_view path_evaluation::text() {
    return evaluator_->text(evaluator_->code().root, start_of(*evaluator_));
}

double path_evaluation::number() {
    return evaluator_->number(evaluator_->code().root, start_of(*evaluator_));
}

bool path_evaluation::truth() {
    return evaluator_->truth(evaluator_->code().root, start_of(*evaluator_));
}

namespace {

// The node whose value is that of the path; null for a path that gives none.
xmlNodePtr first_of(evaluator &run) { return run.first_node(run.code().root, start_of(run)); }

bool gives_nodes(const evaluator &run) noexcept {
    return run.code().expressions[run.code().root].type == value_type::nodes;
}

} // namespace

std::optional<std::string_view> path_evaluation::text_if_any() {
    if (!gives_nodes(*evaluator_)) {
        return text();
    }
    const xmlNode *node = first_of(*evaluator_);
    return node == nullptr ? std::nullopt : std::optional(evaluator_->text_of(node));
}

std::optional<double> path_evaluation::number_if_any() {
    if (!gives_nodes(*evaluator_)) {
        return number();
    }
    const xmlNode *node = first_of(*evaluator_);
    return node == nullptr ? std::nullopt : std::optional(evaluator_->number_of(node));
}

std::string_view path_evaluation::text_of(const xmlNode *node) { return evaluator_->text_of(node); }

std::size_t path_evaluation::work() const noexcept { return evaluator_->work(); }

// --- the cache
// ------------------------------------------------------------------------------------

// A compiled path and what it was compiled from: the text, each prefix and URI, each name of a
// variable, with their lengths.
struct cached_path {
    paths::path_code *code;
    char *key;
    std::size_t key_size;
    std::size_t hash;
    std::uint64_t used; // when it was asked for last
    std::uint32_t leases;
};

namespace {

struct path_cache {
    host::memory_context *context;
    std::uint64_t clock;
    std::size_t bytes;
    std::size_t count;
    cached_path *last; // asked for last
    cached_path entries[k_most_cached_paths];
};

path_cache *session_cache() noexcept { return static_cast<path_cache *>(host::u_sess.path_cache); }

path_cache &ready_cache() {
    if (path_cache *const cache = session_cache()) [[likely]] {
        return *cache;
    }
    if (!host::u_sess.initialised) {
        xml_init_hashtable(XMLEntryType::dom_map);
    }
    host::memory_context *const context = host::mmgr_memory_set_controller_create(
        host::u_sess.xmldom_context, "XML paths", 0, 8192, 65536);
    path_cache *cache = nullptr;
    try {
        cache = static_cast<path_cache *>(host::mmgr_memory_alloc_zero(context, sizeof *cache));
    } catch (...) {
        host::mmgr_memory_controller_delete(context);
        throw;
    }
    cache->context = context;
    host::u_sess.path_cache = cache;
    return *cache;
}

// The key of a path, read piece by piece: hashed, compared and written alike.
template <class Use>
void for_each_piece(std::string_view text, const path_bindings &bindings, Use use) {
    use(text);
    for (const path_binding &binding : bindings.namespaces) {
        use(binding.name);
        use(binding.value);
    }
    for (const path_binding &binding : bindings.variables) {
        use(binding.name);
    }
}

struct path_key {
    path_key(std::string_view text, const path_bindings &bindings) noexcept
        : text_(text), bindings_(bindings) {
        hash = bindings.namespaces.size();
        for_each_piece(text, bindings, [this](std::string_view piece) noexcept {
            hash = hash * 31 + std::hash<std::string_view>{}(piece);
            size += piece.size() + sizeof(std::size_t);
        });
        size += sizeof(std::size_t);
    }
    // How many of the pieces are namespaces, then each piece with its length.
    void write(char *to) const noexcept {
        const std::size_t namespaces = bindings_.namespaces.size();
        std::memcpy(to, &namespaces, sizeof namespaces);
        to += sizeof namespaces;
        for_each_piece(text_, bindings_, [&to](std::string_view piece) noexcept {
            const std::size_t length = piece.size();
            std::memcpy(to, &length, sizeof length);
            std::memcpy(to + sizeof length, piece.data(), length);
            to += sizeof length + length;
        });
    }
    [[nodiscard]] bool is_that_of(const cached_path &entry) const noexcept {
        if (entry.hash != hash || entry.key_size != size) {
            return false;
        }
        const std::size_t namespaces = bindings_.namespaces.size();
        bool same = std::memcmp(entry.key, &namespaces, sizeof namespaces) == 0;
        const char *at = entry.key + sizeof namespaces;
        for_each_piece(text_, bindings_, [&](std::string_view piece) noexcept {
            const std::size_t length = piece.size();
            same = same && std::memcmp(at, &length, sizeof length) == 0 &&
                   std::memcmp(at + sizeof length, piece.data(), length) == 0;
            at += sizeof length + length;
        });
        return same;
    }
    std::size_t hash = 0;
    std::size_t size = 0;

  private:
    std::string_view text_;
    const path_bindings &bindings_;
};

void drop(path_cache &cache, cached_path &entry) noexcept {
    cache.bytes -= entry.code->block_size + entry.key_size;
    host::mmgr_free_with_fl(entry.code, __FILE__, __LINE__);
    host::mmgr_free_with_fl(entry.key, __FILE__, __LINE__);
    --cache.count;
    entry = {};
    cache.last = nullptr;
}

// The place of a path that is on loan to nobody and was asked for longest ago; null for none.
cached_path *oldest(path_cache &cache) noexcept {
    cached_path *found = nullptr;
    for (cached_path &entry : cache.entries) {
        if (entry.code != nullptr && entry.leases == 0 &&
            (found == nullptr || entry.used < found->used)) {
            found = &entry;
        }
    }
    return found;
}

// A place for a path of that size; null where too much is on loan.
cached_path *make_room(path_cache &cache, std::size_t size) noexcept {
    while (cache.count == k_most_cached_paths || cache.bytes + size > k_most_cached_bytes) {
        cached_path *const gone = oldest(cache);
        if (gone == nullptr) {
            return nullptr;
        }
        drop(cache, *gone);
    }
    for (cached_path &entry : cache.entries) {
        if (entry.code == nullptr) {
            return &entry;
        }
    }
    return nullptr;
}

cached_path *find(path_cache &cache, const path_key &key) noexcept {
    if (cache.last != nullptr && key.is_that_of(*cache.last)) {
        return cache.last;
    }
    for (cached_path &entry : cache.entries) {
        if (entry.code != nullptr && key.is_that_of(entry)) {
            return &entry;
        }
    }
    return nullptr;
}

} // namespace

path_lease compile_path(std::string_view text, const path_bindings &bindings) {
    path_cache &cache = ready_cache();
    const path_key key(text, bindings);
    cached_path *entry = find(cache, key);
    if (entry == nullptr) {
        path_lease compiled(nullptr, paths::compile(text, bindings, cache.context));
        const std::size_t size = compiled.code().block_size + key.size;
        if (size > k_most_cached_bytes / 4) {
            return compiled; // one that would drive out many
        }
        auto *const written =
            static_cast<char *>(host::mmgr_memory_alloc_from_controller(cache.context, key.size));
        entry = make_room(cache, size);
        if (entry == nullptr) {
            host::mmgr_free_with_fl(written, __FILE__, __LINE__);
            return compiled;
        }
        key.write(written);
        *entry = {compiled.release(), written, key.size, key.hash, 0, 0};
        cache.bytes += size;
        ++cache.count;
    }
    entry->used = ++cache.clock;
    ++entry->leases;
    cache.last = entry;
    return path_lease(entry, nullptr);
}

path_lease::~path_lease() {
    if (entry_ != nullptr) {
        --entry_->leases;
    }
    host::mmgr_free_with_fl(own_, __FILE__, __LINE__);
}

const paths::path_code &path_lease::code() const noexcept {
    return entry_ != nullptr ? *entry_->code : *own_;
}

path_cache_use cached_paths() noexcept {
    const path_cache *const cache = session_cache();
    return cache == nullptr ? path_cache_use{0, 0} : path_cache_use{cache->count, cache->bytes};
}

} // namespace pkg_dbe_xml
