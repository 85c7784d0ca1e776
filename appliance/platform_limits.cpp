/*
 * The limits of the machine that the image was built for. They lie in the image's database, and without one there is a
 * limit all the same.
 */
#include "image_database.h"
#include "platform/platform.h"

constexpr int DEFAULT_MAX_POLICY_SESSION = 10000;

int __vm_get_max_policy_session(void)
{
    appliance::BorrowedConnection connection;
    appliance::Statement          row = appliance::prepare(
                 connection.get(), "select value from platform_limit where name='max_policy_session' and value is not null");
    if (!row || sqlite3_step(row.get()) != SQLITE_ROW)
        return DEFAULT_MAX_POLICY_SESSION;
    return appliance::number_in(row.get(), 0);
}
