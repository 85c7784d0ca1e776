CREATE TABLE class_map(main_class_id TEXT, sub_class_id TEXT, discard INTEGER);
