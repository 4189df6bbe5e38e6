"""What training and evaluating the luma-doubling network have in common."""
