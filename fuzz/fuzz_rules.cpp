/*
 * The update file: loaded for a file of some release, and applied to a small tree. An input is the update file's text;
 * a configuration may follow behind a line "%%".
 */
#include "fuzz/fuzzing.h"
#include "rules/update_file.h"

static constexpr char small_tree[] = R"(config a b
    set c 500
    set d "abcdef"
    set e a1 c1 zz
    set f x
    edit 1
        set c 1
        config t
            edit 1
                set c 20
                set d "abcdef"
            next
            edit 2
            next
        end
    next
    edit 2
        config t
            set c a1 c1
        end
    next
end
config c d
    set e "x y"
    config f
        set e 7
        config g
            set c 8
        end
    end
end
config system bridge
    edit b1
    next
end
config server-policy vserver
    edit 1
        set interface b1
    next
end
)";

static void apply_sections()
{
    migr_list *sections = &migr_main.update_list;
    for (migr_list *link = sections->next; link != sections; link = link->next) {
        update_section *section = section_of(link);
        if (process_delete(&section->delete_list) != 0 ||
            process_modify(&section->modify_list, 0, section->version) != 0 ||
            process_modify(&section->readd_list, 1, section->version) != 0)
            return;
        fuzzing::check_book();
    }
}

static void run_pass(std::string_view rules, std::string_view tree, int32_t cfg_version)
{
    fuzzing::begin();
    migr_list_init(&migr_main.update_list);
    fuzzing::plant(tree);
    migr_main.cfg_version = cfg_version;
    migr_main.img_version = MIGR_RELEASE_IMAGE;
    vdom_update_flag = 0;
    text_reader lines = fuzzing::reader_of(rules);
    load_update_sections(&lines);
    close_text(&lines);
    notp_bridge_main = {};
    find_notp_bridge_node(&migr_main.root, 0);
    free_notp_bridges();
    fuzzing::check_book();
    apply_sections();
    fuzzing::check_book();
    fuzzing::written(&migr_main.root);
    free_migr_tree();
    release_pass_nodes();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static constexpr std::string_view mark = "\n%%\n";
    std::string_view                  rules(reinterpret_cast<const char *>(data), size);
    std::string_view                  tree = small_tree;
    size_t                            end = rules.find(mark);
    if (end != rules.npos) {
        tree = rules.substr(end + mark.size());
        rules = rules.substr(0, end + 1);
    }
    run_pass(rules, tree, 0x3001e);
    run_pass(rules, tree, MIGR_RELEASE(5, 10));
    return 0;
}
