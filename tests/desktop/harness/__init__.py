"""A whole private desktop session for tests: its own folders, bus, display, browsers and senders."""
