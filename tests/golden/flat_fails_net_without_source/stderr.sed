# The net dump prints a record address, which changes from run to run.
s/^NET:0x[0-9a-f]*:/NET:<address>:/
