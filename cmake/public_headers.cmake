# The headers that are installed, and all of the library that the command may use. Whoever changes one of them changes
# an interface that others build on.
set(MIGR_PUBLIC_HEADERS
  # for hosts
  driver/change.h driver/hooks.h driver/migr.h driver/run_context.h platform/platform.h tree/config_node.h tree/setup_tree.h
  # for hosts that work on a tree themselves, and for tools
  tree/changes.h tree/config_text.h tree/line_words.h tree/operations.h tree/text_reader.h
  # for tools, which look at configurations, update files and the tables that steer an upgrade
  chain/steps.h driver/author_kinds.h driver/version_lines.h ledger/journal.h ledger/second_book.h rules/modify_rules.h
  rules/properties.h rules/rules.h rules/update_file.h stages/shared/secret_decoding.h tree/split.h tree/version_text.h walk/stages.h)
