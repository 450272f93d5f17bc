"""The networks of zelhost: recipes that make the IR pairs, and the packing of the pairs into resources.

table.py and pack.py need nothing but Python's own library; everything else needs models/requirements.txt.
"""
