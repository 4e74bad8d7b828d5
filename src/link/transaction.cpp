// link/transaction
