/*
 * The configuration tree of a pass, as the library tells of it: what it was when the last part of the work had ended,
 * what was done to it since, in whose turn, and, when the part has ended, what it is now. It keeps no text that the
 * tree has. What all this makes of the lines is told by part_text.h.
 */
#pragma once

#include "driver/change.h"

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace command {

/* A turn that never comes. */
inline constexpr uint32_t never = UINT32_MAX;

/* A node's lists, in the order in which they are written. */
enum class ListKind : uint8_t { sets, entries, configs };
inline constexpr size_t list_kinds = 3;

using ToldLists = std::array<std::vector<uint32_t>, list_kinds>;

struct ToldNode {
    const config_node               *record = nullptr; /* null: never seen, or gone for good */
    uint32_t                         parent = 0;
    uint32_t                         next = 0;       /* in its list, as in the tree */
    std::array<uint32_t, list_kinds> first = {};     /* and its own lists */
    uint32_t                         last_event = 0; /* its place and one more */
    uint32_t                         latest = 0;     /* the last turn in which something was done to it or below it */
    uint32_t                         settled = 0;    /* the turn in which it came to be seen where it stands */
    uint32_t                         stamp = 0;      /* of whoever compares two lists */
    int32_t                          places = 0;     /* below how many it stands: two blocks may share a list */
    bool                             is_member : 1 = false;  /* it stood in the tree when the part began */
    bool                             is_arrived : 1 = false; /* and came to stand somewhere in it since */
    bool                             is_touched : 1 = false; /* its lists may not be what they were */
    bool                             is_present : 1 = false; /* and it is still there with them */
    bool                             is_shown : 1 = true;    /* it was not marked when the part began */
    bool                             is_long : 1 = false;    /* one of its texts has several lines */
};

enum class ToldKind : uint8_t { linked, unlinked, renamed, revalued, marked };

struct ToldEvent {
    uint32_t previous = 0; /* of the same node, by its place and one more */
    uint32_t turn = 0;
    uint32_t parent = 0; /* of links */
    uint32_t text = 0;   /* what it was before, by its place and one more; 0: no value */
    ToldKind kind = ToldKind::linked;
    bool     is_shown = false; /* behind a mark */
};

class ToldTree {
  public:
    static constexpr uint32_t root = 1;

    /* Takes a tree that has just been read. What was known of another one is forgotten. */
    void begin(const config_node &root_record);

    /* Another one is going to be read. */
    void close()
    {
        *this = {};
    }

    bool is_open() const
    {
        return !nodes_.empty();
    }

    /* Whatever is told of the tree that was taken. `author` is the number under which the turns will name him. */
    void take(const migr_change &change, uint32_t author);

    /* Whether anything has been told since the last part ended that can show in a text. */
    bool has_turns() const
    {
        return !turns_.empty();
    }

    /* A part has ended: the lists become what they are now. Then all that follows may be asked, until forget_part,
     * which ends the part and gives up `lost`, nodes that are in the tree no more. */
    void follow_changes();
    void forget_part(const std::vector<uint32_t> &lost);

    /* Each turn's author; they count from 1. All that one has done since the last part ended is one turn of his, unless
     * he built on what was done in a later one. */
    const std::vector<uint32_t> &turns() const
    {
        return turns_;
    }
    const ToldNode &node(uint32_t number) const
    {
        return number < first_older ? nodes_[number] : older_nodes_[number - first_older];
    }
    std::vector<uint32_t> list(uint32_t node, size_t kind) const;
    /* As it was ahead of the part, of a node that is_touched. */
    const std::vector<uint32_t> &old_list(uint32_t node, size_t kind) const;

    /* In their order. */
    std::vector<const ToldEvent *> events(uint32_t node) const;
    bool                           has_texts(uint32_t node) const; /* other than the one that it has now */

    /* The last turn that linked the node there, the first that took it away; 0 for none. */
    uint32_t linked_turn(uint32_t node, uint32_t parent) const;
    uint32_t unlinked_turn(uint32_t node, uint32_t parent) const;

    /* A node's texts when that turn was over, and whether they became others in it. The value is null where there is
     * none. */
    struct Content {
        std::string_view name;
        const char      *value;
    };
    Content content(uint32_t node, uint32_t turn) const;
    bool    is_rewritten(uint32_t node, uint32_t turn) const;

    /* 0 for a node that is not known. */
    uint32_t number_of(uint64_t identity) const;

  private:
    static constexpr uint32_t first_older = 1U << 31;

    struct GoneTexts {
        std::string name, value;
        bool        has_value;
    };

    uint32_t  make_number_of(uint64_t identity);
    ToldNode &at(uint32_t number)
    {
        return number < first_older ? nodes_[number] : older_nodes_[number - first_older];
    }

    void     take_new(const migr_change &change);
    void     take_link(const migr_change &change, uint32_t author);
    void     take_mark(const migr_change &change, uint32_t author);
    void     take_text(const migr_change &change, uint32_t author);
    void     take_release(const migr_change &change);
    uint32_t add_event(const migr_change &change, uint32_t author, ToldEvent event);
    uint32_t turn_for(uint32_t author, uint32_t node, const ToldEvent &event);
    uint32_t earliest_turn(uint32_t node, const ToldEvent &event) const;
    uint32_t settled_turn(uint32_t node) const;
    void     raise(uint32_t node, uint32_t turn);

    void keep_old_lists();
    void read_lists(uint32_t node, std::vector<uint32_t> &waiting);
    void arrive(uint32_t node);
    void stamp_old_children(uint32_t node);

    uint64_t                               base_ = 0;    /* the number ahead of the root's */
    std::vector<ToldNode>                  nodes_;       /* by number; the first is none */
    std::vector<ToldNode>                  older_nodes_; /* that were there before the pass */
    std::unordered_map<uint64_t, uint32_t> older_;       /* their numbers, by identity */
    uint32_t                               stamp_ = 0;

    /* Of the part. */
    std::vector<ToldEvent>                              events_;
    std::vector<std::string>                            texts_;
    std::unordered_map<uint32_t, GoneTexts>             gone_; /* nodes whose records are */
    std::vector<uint32_t>                               turns_;
    std::unordered_map<uint32_t, std::vector<uint32_t>> turns_of_; /* by author */
    std::vector<uint32_t>                               touched_, raised_, arrived_;
    std::unordered_map<uint32_t, ToldLists>             old_lists_;
};

} // namespace command
