"""The parts of generate_message_set.py."""
