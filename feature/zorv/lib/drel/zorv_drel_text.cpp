// placeholder until this subsystem lands
