/*
 * The step to 5.35 lets a cluster monitor aggregates. Reads the interfaces and the "monitor" set of "system,ha",
 * and changes that set alone: interfaces that stand behind the cluster in the file are not known to it.
 */
#include "chain/aggregate_binding.h"

#include "chain/blocks.h"
#include "driver/run_context.h"
#include "tree/line_words.h"
#include "tree/operations.h"
#include "tree/version_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace {

constexpr int32_t records = 16;

/* A port of the old "monitor" value. */
struct port_record {
    char    port[8]; /* empty behind the last record in use */
    int32_t bound;   /* covered by an aggregate */
};

aggregate_record binfo[records];
port_record      pinfo[records];

/* The aggregate's name, or an empty one where the edit has no quotes. False without memory. */
bool begin_aggregate(aggregate_record *record, const config_node *edit)
{
    free(record->name);
    record->name = static_cast<char *>(calloc(1, MIGR_NAME_SIZE));
    if (!record->name)
        return false;
    get_bind_name(record->name, edit->name);
    return true;
}

/* Stores "port%d" as far as it fits: a number of more than three digits loses its end. */
void store_port(char (&port)[8], int32_t number)
{
    char text[32];
    snprintf(text, sizeof text, "port%d", number);
    memcpy(port, text, sizeof port - 1);
    port[sizeof port - 1] = '\0';
}

/* Reads "port1 port2"; blanks between the two may be missing. */
void scan_ports(aggregate_record *record, const config_node *members)
{
    static constexpr char word[] = "port";
    const char           *text = value_of(members);
    record->count = 0;
    for (auto &port : record->port) {
        if (strncmp(text, word, strlen(word)) != 0)
            return;
        char       *end = nullptr;
        const char *digits = text + strlen(word);
        long        number = strtol(digits, &end, 10);
        if (end == digits)
            return;
        store_port(port, nearest_number(number));
        record->count++;
        text = skip_white(end);
    }
}

/* Reads an interface; its members have to stand behind its type. True when it used up the record. */
bool read_interface(aggregate_record *record, const config_node *edit)
{
    bool aggregate = false;
    for (const config_node *set = edit->set_list; set; set = set->next) {
        if (raw_name_is(set, "type") && raw_value_is(set, "aggregate"))
            aggregate = begin_aggregate(record, edit);
        else if (aggregate && raw_name_is(set, "intf"))
            scan_ports(record, set);
    }
    return aggregate;
}

/* How reading the interfaces ended. */
enum class interfaces { read, too_many_ports, table_full };

interfaces read_interfaces(const config_node *block, int32_t *used)
{
    static constexpr int32_t most_ports = std::extent_v<decltype(aggregate_record::port)>;
    for (const config_node *edit = block->edit_list; edit; edit = edit->next) {
        if (!read_interface(&binfo[*used], edit))
            continue;
        if (binfo[*used].count > most_ports)
            return interfaces::too_many_ports;
        if (++*used == records)
            return interfaces::table_full;
    }
    return interfaces::read;
}

void rewrite_monitor(const config_node *block)
{
    config_node *monitor = first_set(block, "monitor");
    if (!monitor || !monitor->value)
        return;
    char line[1024] = "";
    fill_port_info(monitor->value);
    make_intf_line(line, sizeof line);
    set_node_value(monitor, line);
}

const port_record *ports_end()
{
    const port_record *port = pinfo;
    while (port < pinfo + records && port->port[0])
        port++;
    return port;
}

port_record *find_port(const char *name)
{
    for (port_record *port = pinfo; port < ports_end(); port++)
        if (strcmp(port->port, name) == 0)
            return port;
    return nullptr;
}

/* Appends a name and a blank; false when the text would come to the buffer's end. */
bool append_name(char *output, size_t room, const char *name)
{
    size_t length = strlen(output);
    if (length + strlen(name) + 1 >= room)
        return false;
    strcpy(stpcpy(output + length, name), " ");
    return true;
}

} // namespace

/* ---- 5.35 ---- */

int32_t get_bind_name(char *output, const char *quoted_name)
{
    if (!output || !quoted_name || quoted_name[0] != '"')
        return -1;
    size_t length = strcspn(quoted_name + 1, "\"");
    if (length > MIGR_NAME_SIZE - 1)
        length = MIGR_NAME_SIZE - 1;
    memcpy(output, quoted_name + 1, length);
    output[length] = '\0';
    return 0;
}

void fill_port_info(const char *value)
{
    memset(pinfo, 0, sizeof pinfo);
    for (port_record *record = pinfo; record < pinfo + records; record++) {
        value = strstr(value, "port");
        if (!value)
            return;
        size_t length = strcspn(value, " ");
        if (length > sizeof record->port - 1)
            length = sizeof record->port - 1;
        memcpy(record->port, value, length);
        value += length;
    }
}

int32_t find_binfo(const aggregate_record *record)
{
    if (record->count == 1) {
        port_record *port = find_port(record->port[0]);
        if (port)
            port->bound = 1;
        return port != nullptr;
    }
    if (record->count != 2)
        return 0;
    port_record *first_hit = nullptr;
    for (port_record *port = pinfo; port < ports_end(); port++) {
        if (strcmp(port->port, record->port[0]) != 0 && strcmp(port->port, record->port[1]) != 0)
            continue;
        if (first_hit) {
            first_hit->bound = 1;
            port->bound = 1;
            return 1;
        }
        first_hit = port;
    }
    return 0;
}

int32_t make_intf_line(char *output, int32_t size)
{
    auto room = static_cast<size_t>(size);
    for (const aggregate_record *record = binfo; record < binfo + records && record->name; record++)
        if (find_binfo(record) && !append_name(output, room, record->name))
            return -1;
    for (const port_record *port = pinfo; port < ports_end(); port++)
        if (!port->bound && !append_name(output, room, port->port))
            return -1;
    return 0;
}

void release_bind_info(void)
{
    for (aggregate_record *record = binfo; record < binfo + records && record->name; record++) {
        free(record->name);
        record->name = nullptr;
    }
}

/* From 5.35 on a cluster monitors an aggregate, no longer the ports that it binds. The blocks are taken in the order of
 * the file: interfaces behind the cluster are not known to it. A full table leaves the cluster as it is. */
int32_t migr_adjust_bind_info(void)
{
    int32_t    used = 0;
    interfaces state = interfaces::read;
    memset(binfo, 0, sizeof binfo);
    memset(pinfo, 0, sizeof pinfo);
    for (const config_node *block = migr_main.root.top_list; block && state == interfaces::read; block = block->next) {
        if (raw_name_is(block, "system,interface"))
            state = read_interfaces(block, &used);
        if (raw_name_is(block, "system,ha"))
            rewrite_monitor(block);
    }
    release_bind_info();
    return state == interfaces::too_many_ports ? -1 : 0;
}
