/* Several steps in a row on one tree, where one migration meets what another has made. */
#include "chain/hardcode.h"
#include "support/trees.h"

using namespace support;

namespace {

constexpr char of_4_10[] = R"(config system settings
    set opmode inline
end
config server-policy pservers
    edit "unused"
        set comment "c"
    next
    edit "content"
        config pserver-list
            edit 1
                set pserver "s1"
            next
        end
    next
    edit "balanced"
        config pserver-list
            edit 1
                set pserver "s2"
            next
        end
    next
    edit "http"
        config pserver-list
            edit 1
                set pserver "s3"
            next
        end
    next
end
config server-policy policy
    edit "p1"
        set deployment-mode content-routing
        set pservers "content"
        set persistent-server-sessions 10
    next
    edit "p2"
        set deployment-mode server-balance
        set pservers "balanced"
        set service HTTP
        set ssl-client enable
    next
    edit "p3"
        set deployment-mode http-content-routing
        set pservers "http"
        set ssl-client disable
        set service HTTP
        set persistent-server-sessions 10
    next
end
config user user-group
    edit "g"
        config members
            edit 1
                set name "n"
                set type ldap
            next
            edit 2
                set type radius
                set name "m"
            next
        end
    next
    edit "unbound"
    next
end
config waf http-authen http-authen-rule
    edit "r"
        config rule
            edit 1
                set user-group "g"
            next
        end
    next
end
)";

/* The farm that routed by content was made one of XML content, so 5.0 drops it. The farm of HTTP content routing stays,
 * without the servers that 4.42 had numbered. A member whose type had moved to the top gets its name from that type. */
constexpr char of_5_0[] = R"(config system settings
    set opmode inline
end
config server-policy pservers
    edit "http"
        set type http-content-routing
        config pserver-list
        end
    next
    edit "balanced"
        set type server-balance
        config pserver-list
            edit 1
                set pserver "s2"
            next
        end
    next
end
config server-policy policy
    edit "p1"
        set deployment-mode content-routing
        set pservers "content"
        set persistent-server-sessions 10
    next
    edit "p2"
        set deployment-mode server-balance
        set pservers "balanced"
        set https-service HTTP
        set persistent-server-sessions 1000
    next
    edit "p3"
        set deployment-mode http-content-routing
        set pservers "http"
        set service HTTP
        set persistent-server-sessions 10
    next
end
config user user-group
    edit "g"
        config members
            edit 1
                set type ldap
                set ldap-name "n"
            next
            edit 2
                set type radius
                set radius-name "m"
            next
        end
    next
end
config waf http-authen http-authen-rule
    edit "r"
        config rule
            edit 1
                set user-group "g"
            next
        end
    next
end
)";

void run_step(int32_t version)
{
    update_section section = {};
    section.version = version;
    EXPECT_EQ(migr_hardcode(&section), 0);
}

using WholeSteps = TreeTest;

TEST_F(WholeSteps, PoliciesFarmsAndUsersFrom4_10To5_0)
{
    ASSERT_EQ(parse(of_4_10), 0);
    for (int32_t version : {0x4000b, 0x40014, 0x4002a, 0x50000})
        run_step(version);
    EXPECT_EQ(written(&migr_main.root), of_5_0);
}

} // namespace
