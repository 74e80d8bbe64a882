// placeholder until the first platform piece lands
