// Walking through the model of an element type: a tree of particles, each a name or a group of two.
#pragma once

#include <libxml/tree.h>

namespace host {

// The particles' links are not for everyone in later versions; there is no other way through them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// The particle after `particle` in document order, null behind the last one below `top`. Groups
// link to their parents in all versions of libxml2, names only in some: a walk that has lost its
// way ends.
[[nodiscard]] inline const xmlElementContent *next_particle(const xmlElementContent *particle,
                                                            const xmlElementContent *top) noexcept {
    if (particle->c1 != nullptr) {
        return particle->c1;
    }
    while (particle != nullptr && particle != top &&
           (particle->parent == nullptr || particle->parent->c2 == particle ||
            particle->parent->c2 == nullptr)) {
        particle = particle->parent;
    }
    return particle == nullptr || particle == top ? nullptr : particle->parent->c2;
}

#pragma GCC diagnostic pop

} // namespace host
