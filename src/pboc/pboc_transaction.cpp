// pboc/pboc_transaction
