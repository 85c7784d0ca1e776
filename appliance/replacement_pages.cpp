/* The image's default replacement pages: the HTML that an appliance serves which nobody has customized. */
#include "replacement_pages.h"

#include "image_database.h"
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>

const default_page *rmsg_def_pages;
int32_t             rmsg_def_page_size;

namespace {

/* What rmsg_def_pages points at, with the pages' texts in the same order. */
struct page_table {
    default_page *pages;
    char        **texts;
    int32_t       count;
    int32_t       room;
};

} // namespace
static page_table loaded;

static void free_table(page_table *table)
{
    for (int32_t at = 0; at < table->count; at++)
        free(table->texts[at]);
    free(table->pages);
    free(table->texts);
    *table = {};
}

static bool make_room(page_table *table)
{
    if (table->count < table->room)
        return true;
    int32_t room = table->room ? table->room * 2 : 16;
    size_t  records = static_cast<size_t>(room);
    void   *pages = realloc(table->pages, records * sizeof *table->pages);
    if (!pages)
        return false;
    table->pages = static_cast<default_page *>(pages);
    void *texts = realloc(table->texts, records * sizeof *table->texts);
    if (!texts)
        return false;
    table->texts = static_cast<char **>(texts);
    table->room = room;
    return true;
}

static bool add_page(page_table *table, const char *name, int32_t code, const char *text)
{
    char *copy = strdup(text);
    if (!copy || table->count == INT32_MAX / 2 || !make_room(table)) {
        free(copy);
        return false;
    }
    default_page *page = &table->pages[table->count];
    *page = {};
    v_strncpy(page->name, sizeof page->name, name, sizeof page->name - 1);
    page->code = code;
    table->texts[table->count++] = copy;
    return true;
}

/* All pages or, when something fails on the way, none: half a table would make the other half look customized. */
static page_table read_pages(sqlite3 *connection)
{
    page_table           table = {};
    appliance::Statement rows =
        appliance::prepare(connection, "select name, code, text from replacement_page"
                                       " where name is not null and text is not null order by rowid");
    int result = SQLITE_ERROR;
    while (rows && (result = sqlite3_step(rows.get())) == SQLITE_ROW) {
        const char *name = appliance::text_in(rows.get(), 0);
        const char *text = appliance::text_in(rows.get(), 2);
        if (!name || !text || !add_page(&table, name, appliance::number_in(rows.get(), 1), text))
            break;
    }
    if (result != SQLITE_DONE)
        free_table(&table);
    return table;
}

void appliance::free_default_pages()
{
    free_table(&loaded);
    rmsg_def_pages = nullptr;
    rmsg_def_page_size = 0;
}

void appliance::load_default_pages(sqlite3 *connection)
{
    free_default_pages();
    loaded = read_pages(connection);
    rmsg_def_pages = loaded.pages;
    rmsg_def_page_size = loaded.count;
}

/* Outside of a run the database is closed: then the pages are read for this one question. */
const char *find_default_msg_by_name(const char *name)
{
    if (!name)
        return nullptr;
    if (!appliance::held_connection())
        appliance::load_default_pages(appliance::BorrowedConnection().get());
    for (int32_t at = 0; at < loaded.count; at++) {
        if (strcmp(loaded.pages[at].name, name) == 0)
            return loaded.texts[at];
    }
    return nullptr;
}
