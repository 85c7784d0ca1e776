/* What a whole run does, step by step, and what is stored when a pass begins. */
#pragma once

#include <map>
#include <string>
#include <vector>

/* Name to text: files of /data/config, unpacked, as "sys_global"; those of /var/log as "log/sys_global.conf". */
using StoredTexts = std::map<std::string, std::string>;

struct RunLog {
    std::vector<std::string> steps;  /* "pass global sys_global", "step 5.10", "walk 5.9 to 6.21", "split", ... */
    std::vector<StoredTexts> stored; /* as each pass found them */
};

extern RunLog run_log;

/* The steps, one a line. */
std::string run_steps();

/* What is stored now. A file of /data/config that is no compressed text has its whole name, and its bytes as text. */
StoredTexts stored_texts();
