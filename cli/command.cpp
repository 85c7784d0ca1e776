static int unused_file; int *command_placeholder = &unused_file;
