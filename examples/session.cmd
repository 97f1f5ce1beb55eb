! Example session: the settings the engine starts with.
show
end
