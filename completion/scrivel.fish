# Completion of scrivel for fish. Text ids are the user's.
complete -c scrivel -f -a '-n -v -t --'
